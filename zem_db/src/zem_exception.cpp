#include "zem_exception.h"

ZemException::ZemException(OdString const& message) : OdError(message) {}

ZemException::~ZemException() = default;
