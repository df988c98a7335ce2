#include "db/od_ap_long_transaction_manager.h"

#include <utility>

namespace {

OdApLongTransactionManager* g_manager = nullptr;

}  // namespace

OdApLongTransactionManager::~OdApLongTransactionManager() = default;

OdApLongTransactionManager* odapLongTransactionManager() noexcept
{
    return g_manager;
}

OdApLongTransactionManager*
odapSetLongTransactionManager(OdApLongTransactionManager* manager) noexcept
{
    return std::exchange(g_manager, manager);
}
