#include "zem_database_utils.h"

#include <algorithm>

namespace zemu {
namespace {

template <class T>
int compareValues(T const& left, T const& right)
{
    return left < right ? -1 : (right < left ? 1 : 0);
}

}  // namespace

int compareObjectId(OdDbObjectId const& left, OdDbObjectId const& right)
{
    const int byHandle = compareValues(left.getHandle().value(), right.getHandle().value());
    if (byHandle != 0 || left.database() == right.database()) {
        return byHandle;
    }
    return compareValues(left, right);
}

int compareObjectIdArray(OdDbObjectIdArray const& left, OdDbObjectIdArray const& right)
{
    const int bySize = compareValues(left.size(), right.size());
    if (bySize != 0) {
        return bySize;
    }
    const auto [inLeft, inRight] = std::mismatch(
        left.begin(), left.end(), right.begin(),
        [](OdDbObjectId const& a, OdDbObjectId const& b) { return compareObjectId(a, b) == 0; });
    return inLeft == left.end() ? 0 : compareObjectId(*inLeft, *inRight);
}

int compareSubentId(OdDbSubentId const& left, OdDbSubentId const& right)
{
    const int byType = compareValues(left.type(), right.type());
    return byType != 0 ? byType : compareValues(left.index(), right.index());
}

int compareFullSubentPath(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right)
{
    const int byIds = compareObjectIdArray(left.objectIds(), right.objectIds());
    return byIds != 0 ? byIds : compareSubentId(left.subentId(), right.subentId());
}

}  // namespace zemu
