#include "zem_db_variable_reactor.h"

#include "zem_db_class_info.h"

// The names stand in drawings; they leave out the "Db" of the class's own name.
ZEM_DEFINE_DB_CLASS(ZemDbVariableReactor, OdDbObject, L"ZemVariableReactor", L"ZEMVARIABLEREACTOR",
                    kZemAppConstraints);

ZemDbVariableReactor::ZemDbVariableReactor() = default;

ZemDbVariableReactor::~ZemDbVariableReactor() = default;
