#include "zem_stream_utils.h"

#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_flat_filer.h"

#include <algorithm>

namespace zemu {

namespace {

/// Ids that are believed to follow whatever the filer has left: a filer may keep ids as no bytes at
/// all, so that its bytes say nothing about their number.
constexpr std::int32_t kMaxIdsWithoutBytes = 1 << 20;

/// Room taken in advance; more is made as ids are really read.
constexpr std::int32_t kMaxIdsReserved = 4096;

using IdWriter = void (OdDbDwgFiler::*)(OdDbObjectId const&);
using IdReader = OdDbObjectId (OdDbDwgFiler::*)();

bool hasMarks(OdDbDwgFiler const& filer)
{
    return filer.filerType() != OdDb::FilerType::kFileFiler;
}

bool keepsNoIds(OdDbDwgFiler const& filer)
{
    return dynamic_cast<ZemFlatFiler const*>(&filer) != nullptr;
}

void writeIds(OdDbDwgFiler& filer, OdDbObjectIdArray const& ids, IdWriter write)
{
    const std::uint32_t count = ids.size();
    if (count > static_cast<std::uint32_t>(kMaxIdsWithoutBytes) && keepsNoIds(filer)) {
        throw OdError(kOdBadStream);
    }
    filer.wrInt32(static_cast<std::int32_t>(count));
    for (std::uint32_t i = 0; i < count; ++i) {
        (filer.*write)(ids[i]);
    }
}

void readIds(OdDbDwgFiler& filer, OdDbObjectIdArray& ids, IdReader read)
{
    const std::int32_t count = filer.rdInt32();
    if (count < 0 ||
        (count > kMaxIdsWithoutBytes && static_cast<std::uint64_t>(count) > filer.bytesLeft())) {
        throw OdError(kOdBadStream);
    }
    ids.clear();
    ids.reserve(static_cast<std::uint32_t>(std::min(count, kMaxIdsReserved)));
    for (std::int32_t i = 0; i < count; ++i) {
        ids.append((filer.*read)());
    }
}

}  // namespace

void wrMark(OdDbDwgFiler* filer, short mark)
{
    if (hasMarks(*filer)) {
        filer->wrInt16(mark);
    }
}

void rdMark(OdDbDwgFiler* filer, short mark)
{
    if (hasMarks(*filer) && filer->rdInt16() != mark) {
        throw OdError(L"Corrupted dwg stream: wrong mark found in dbFiler. "
                      L"Application can be unstable");
    }
}

void writeHardOwnershipIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray const& ids)
{
    writeIds(*filer, ids, &OdDbDwgFiler::wrHardOwnershipId);
}

void writeSoftPointerIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray const& ids)
{
    writeIds(*filer, ids, &OdDbDwgFiler::wrSoftPointerId);
}

void readHardOwnershipIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray& ids)
{
    readIds(*filer, ids, &OdDbDwgFiler::rdHardOwnershipId);
}

void readSoftPointerIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray& ids)
{
    readIds(*filer, ids, &OdDbDwgFiler::rdSoftPointerId);
}

}  // namespace zemu
