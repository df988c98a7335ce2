#include "zem_db_feature_manager_transaction.h"

RX_DEFINE_CLASS(ZemDbFeatureManagerTransaction, OdRxObject,
                odrxCreate<ZemDbFeatureManagerTransaction>, L"ZemDbFeatureManagerTransaction");

ZemDbFeatureManagerTransaction::~ZemDbFeatureManagerTransaction() = default;
