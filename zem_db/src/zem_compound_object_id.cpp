#include "zem_compound_object_id.h"

#include "db/od_db_database.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_block_utils.h"

#include <algorithm>
#include <utility>

// Narrow, as filers have texts: nothing is converted where it is filed and compared.
const OdString ZemCompoundObjectId::kAcDbImpBlockRefPathObjectId("AcDbImpBlockRefPathObjectId");

namespace {

/// A number that once told the version of the steps; readers ignore it.
constexpr std::int16_t kBodyVersion = 0;

/// Bytes that a step takes at least, in filers that keep none for ids: its kind and its state.
constexpr std::uint32_t kMinRecordBytes = 2;
/// Bytes that a text takes at least.
constexpr std::uint32_t kMinStringBytes = 1;
/// Room taken in advance; more is made as steps are really read, as not every filer can tell how
/// much it holds.
constexpr std::uint32_t kMaxReserved = 1024;

bool carriesStrings(OdDbDwgFiler const& filer)
{
    const OdDb::FilerType type = filer.filerType();
    return type == OdDb::FilerType::kWblockCloneFiler || type == OdDb::FilerType::kDeepCloneFiler;
}

/// Whether there is an object behind an id of a path, now.
bool isThere(OdDbObjectId id)
{
    if (id.isNull() || id.isErased()) {
        return false;
    }
    if (id.isResident()) {
        return true;
    }
    // What was erased when the drawing was saved is an id without an object afterwards.
    id.convertToRedirectedId();
    return !id.database()->getOdDbObjectId(id.getHandle(), /*create=*/false).isNull();
}

template <class T>
int compareValues(T const& left, T const& right) noexcept
{
    return left < right ? -1 : (right < left ? 1 : 0);
}

int compareRecords(BlockRefPathRecord const& left, BlockRefPathRecord const& right) noexcept
{
    const int byHandle = compareValues(left.handle().value(), right.handle().value());
    return byHandle != 0 ? byHandle : compareValues(left.state(), right.state());
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// Steps

void BlockRefPathRecord::dwgOutFields(OdDbDwgFiler& filer) const
{
    filer.wrInt8(m_kind);
    filer.wrInt8(m_state);
    if (m_state == kInHostDatabase) {
        filer.wrSoftPointerId(m_objectId);
    } else {
        filer.wrDbHandle(m_handle);
    }
}

void BlockRefPathRecord::dwgInFields(OdDbDwgFiler& filer)
{
    m_kind = filer.rdInt8();
    if (filer.rdInt8() == kInHostDatabase) {
        setObjectId(filer.rdSoftPointerId());
    } else {
        setHandle(filer.rdDbHandle());
    }
}

//--------------------------------------------------------------------------------------------------
// Chains

std::span<BlockRefPathRecord const> ZemCompoundObjectId::chain() const noexcept
{
    if (!m_records.isEmpty()) {
        return {m_records.begin(), m_records.size()};
    }
    return {&m_single, m_single.state() != BlockRefPathRecord::kEmpty ? 1u : 0u};
}

void ZemCompoundObjectId::setChain(Records records) noexcept
{
    if (records.size() == 1) {
        m_single = *std::as_const(records).begin();
        m_records = Records();
        return;
    }
    m_single = BlockRefPathRecord();
    m_records = std::move(records);
}

OdDbObjectId ZemCompoundObjectId::topId() const noexcept
{
    const auto records = chain();
    return records.empty() ? OdDbObjectId::kNull : records.front().objectId();
}

OdDbHandle ZemCompoundObjectId::getHandle(unsigned int i) const noexcept
{
    const auto records = chain();
    return i < records.size() ? records[i].handle() : OdDbHandle();
}

OdResult ZemCompoundObjectId::getFullPathEx(OdDbObjectIdArray& out, bool openErased) const
{
    out.clear();
    const auto records = chain();
    auto at = records.begin();
    for (; at != records.end() && at->isInHostDatabase(); ++at) {
        if (!openErased && !isThere(at->objectId())) {
            return kOdUnresolvedPath;
        }
        out.append(at->objectId());
    }
    if (at == records.end()) {
        return kOdOk;
    }
    OdArray<OdDbHandle> handles;
    std::for_each(at, records.end(), [&handles](BlockRefPathRecord const& record) {
        handles.append(record.handle());
    });
    const unsigned inHost = out.size();
    const OdResult result = zemu::makeIdArray(handles, out, openErased);
    // Those steps lie in another drawing. If the first of them was looked up in the host drawing, the
    // other one was bound to it, and the handle belongs to something else there.
    if (inHost != 0 && out.size() > inHost &&
        std::as_const(out)[inHost].database() == std::as_const(out).first().database()) {
        out.resize(inHost);
        return kOdUnresolvedPath;
    }
    if (result == kOdOk && !openErased && std::as_const(out).last().isErased()) {
        out.removeLast();
        return kOdUnresolvedPath;
    }
    return result;
}

OdDbObjectIdArray ZemCompoundObjectId::getPathPrefix() const
{
    OdDbObjectIdArray ids;
    for (BlockRefPathRecord const& record : chain()) {
        if (!record.isInHostDatabase()) {
            break;
        }
        ids.append(record.objectId());
    }
    return ids;
}

int ZemCompoundObjectId::compareTo(ZemCompoundObjectId const& other) const noexcept
{
    const auto left = chain();
    const auto right = other.chain();
    if (left.size() != right.size()) {
        return left.size() < right.size() ? -1 : 1;
    }
    // From the last step on: objects differ in their own handle far more often than in the way.
    for (std::size_t at = left.size(); at-- > 0;) {
        if (const int order = compareRecords(left[at], right[at]); order != 0) {
            return order;
        }
    }
    return 0;
}

void ZemCompoundObjectId::setTopId(OdDbObjectId const& id) noexcept
{
    m_records = Records();
    m_single = BlockRefPathRecord();
    m_single.setObjectId(id);
}

void ZemCompoundObjectId::setFullPath(OdDbObjectIdArray const& path, bool keepTail)
{
    if (path.isEmpty()) {
        setChain(Records());
        return;
    }
    OdDbDatabase const* const topDatabase = path.first().originalDatabase();
    const auto toRecord = [topDatabase](OdDbObjectId id) {
        BlockRefPathRecord record;
        if (id.originalDatabase() == topDatabase) {
            record.setObjectId(id);
        } else {
            record.setHandle(id.getHandle());
        }
        return record;
    };
    const auto present = chain();
    const bool hasTail = keepTail && path.size() < present.size();
    if (path.size() == 1 && !hasTail) {
        setTopId(path.first());
        return;
    }
    Records records;
    records.reserve(hasTail ? static_cast<unsigned>(present.size()) : path.size());
    std::transform(path.begin(), path.end(), std::back_inserter(records), toRecord);
    if (hasTail) {
        records.append(present.begin() + path.size(), present.end());
    }
    setChain(std::move(records));
}

//--------------------------------------------------------------------------------------------------
// Filing
//
// A chain as operations of the filer:
//
//     wrBool    whether there are steps; nothing follows if there are none
//     wrString  "AcDbImpBlockRefPathObjectId"
//     wrInt16   0
//     wrInt32   number of steps, then for each: wrInt8 kind, wrInt8 state, and wrSoftPointerId of
//               its id in state 1, wrDbHandle of its handle in any other
//     for deep clone and wblock clone filers: wrInt32 number of texts, then wrString of each

void ZemCompoundObjectId::dwgOutFields(OdDbDwgFiler* filer, OdDbDatabase* /*database*/) const
{
    const bool hasSteps = size() != 0;
    filer->wrBool(hasSteps);
    if (hasSteps) {
        filer->wrString(kAcDbImpBlockRefPathObjectId);
        impl_dwgOutFields(filer);
    }
}

OdResult ZemCompoundObjectId::dwgInFields(OdDbDwgFiler* filer, int version)
{
    setChain(Records());
    if (version < 0) {
        return kOdRejectedVersion;
    }
    if (!filer->rdBool()) {
        return kOdOk;
    }
    if (filer->rdString() != kAcDbImpBlockRefPathObjectId) {
        throw OdError(kOdBadStream);
    }
    return impl_dwgInFields(filer);
}

void ZemCompoundObjectId::impl_dwgOutFields(OdDbDwgFiler* filer) const
{
    const auto records = chain();
    filer->wrInt16(kBodyVersion);
    filer->wrInt32(static_cast<std::int32_t>(records.size()));
    for (BlockRefPathRecord const& record : records) {
        record.dwgOutFields(*filer);
    }
    if (!carriesStrings(*filer)) {
        return;
    }
    filer->wrInt32(static_cast<std::int32_t>(m_strings.size()));
    for (OdString const& text : m_strings) {
        filer->wrString(text);
    }
}

OdResult ZemCompoundObjectId::impl_dwgInFields(OdDbDwgFiler* filer)
{
    (void)filer->rdInt16();
    const std::uint32_t count = odDbReadCount(*filer, kMinRecordBytes);
    BlockRefPathRecord record;
    Records records;
    for (std::uint32_t i = 0; i < count; ++i) {
        record.dwgInFields(*filer);
        if (count > 1) {
            records.reserve(std::min(count, kMaxReserved));
            records.append(record);
        }
    }
    if (carriesStrings(*filer)) {
        const std::uint32_t textCount = odDbReadCount(*filer, kMinStringBytes);
        OdArray<OdString> strings;
        strings.reserve(std::min(textCount, kMaxReserved));
        for (std::uint32_t i = 0; i < textCount; ++i) {
            strings.append(filer->rdString());
        }
        m_strings = std::move(strings);
    }
    setChain(std::move(records));
    if (count == 1) {
        m_single = record;
    }
    return kOdOk;
}
