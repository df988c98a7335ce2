// Reads and writes fields at any place of a flat stream, in any order, then carries the stream
// through extended-data records.
//
// Input: a byte whose low bit chooses a stream over the bytes or one that grows and whose rest is
// the number of operations, the operations, one byte each, then the stream's bytes. Two bits of an
// operation tell whether it reads, writes or seeks; the rest tells which field, or where to.

#include "db/od_db_platform.h"
#include "root/od_error.h"
#include "root/od_res_buf.h"

#include "zem_flat_filer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

void requireOrdinary(double value)
{
    require(value == 0.0 || std::isnormal(value));
}

void readField(ZemFlatFiler& filer, unsigned field)
{
    std::array<char, 5000> buffer;
    switch (field % 16) {
    case 0:
        (void)filer.rdBool();
        return;
    case 1:
        (void)filer.rdInt8();
        return;
    case 2:
        (void)filer.rdUInt8();
        return;
    case 3:
        (void)filer.rdInt16();
        return;
    case 4:
        (void)filer.rdInt32();
        return;
    case 5:
        (void)filer.rdInt64();
        return;
    case 6:
        requireOrdinary(filer.rdDouble());
        return;
    case 7:
        (void)filer.rdDbHandle();
        return;
    case 8:
        require(filer.rdString().utf8().size() <= ZemFlatFiler::kMaxTextBytes);
        return;
    case 9:
        requireOrdinary(filer.rdPoint2d().y);
        return;
    case 10:
        requireOrdinary(filer.rdPoint3d().z);
        return;
    case 11:
        requireOrdinary(filer.rdVector2d().y);
        return;
    case 12:
        requireOrdinary(filer.rdVector3d().z);
        return;
    case 13:
        requireOrdinary(filer.rdScale3d().sz);
        return;
    case 14:
        require(filer.rdSoftPointerId().isNull());
        return;
    default:
        filer.rdBytes(buffer.data(), field * 79);
    }
}

void writeField(ZemFlatFiler& filer, unsigned field)
{
    static constexpr std::array<char, 5000> kBytes{};
    switch (field % 8) {
    case 0:
        filer.wrBool(true);
        return;
    case 1:
        filer.wrInt16(0x1234);
        return;
    case 2:
        filer.wrInt32(0x12345678);
        return;
    case 3:
        filer.wrDouble(-0.1);
        return;
    case 4:
        filer.wrDbHandle(OdDbHandle(0x123456789ABCDEF0U));
        return;
    case 5:
        filer.wrString(OdString(L'\x20AC', static_cast<int>(field) * 9));
        return;
    case 6:
        filer.wrPoint3d(OdGePoint3d(1, 2, 3));
        return;
    default:
        filer.wrBytes(kBytes.data(), field * 79);
    }
}

void seek(ZemFlatFiler& filer, unsigned place)
{
    const auto offset = static_cast<std::int64_t>(place) * 3;
    switch (place % 3) {
    case 0:
        filer.seek(offset, OdDb::kSeekFromStart);
        return;
    case 1:
        filer.seek(place % 2 == 0 ? offset : -offset, OdDb::kSeekFromCurrent);
        return;
    default:
        filer.seek(-offset, OdDb::kSeekFromEnd);
    }
}

void operate(ZemFlatFiler& filer, unsigned operation)
{
    try {
        switch (operation % 4) {
        case 0:
        case 1:
            readField(filer, operation / 4);
            break;
        case 2:
            writeField(filer, operation / 4);
            break;
        default:
            seek(filer, operation / 4);
        }
    } catch (OdError const& error) {
        require(error.code() == kOdBadStream || error.code() == kOdEndOfStream);
    }
    require(filer.tell() + filer.bytesLeft() == filer.getBinaryDataSize());
}

void carryThroughRecords(ZemFlatFiler& filer)
{
    const std::vector<char> data = filer.getBinaryData();
    const OdResBufPtr head = OdResBuf::newRb(OdResBuf::kXdAppName);
    filer.appendToResBuf(head.get());
    OdStaticRxObject<ZemFlatFiler> copy;
    const bool isCarried = copy.setBinaryChunk(head->next().get());
    require(isCarried == (!data.empty() && data.size() <= ZemFlatFiler::kMaxXDataBytes));
    require(!isCarried || copy.getBinaryData() == data);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const OdDbPlatform s_platform;
    if (size == 0) {
        return 0;
    }
    const bool isFlat = (data[0] & 1) != 0;
    const std::size_t operations = std::min<std::size_t>(data[0] / 2, size - 1);
    std::vector<char> bytes(data + 1 + operations, data + size);
    OdStaticRxObject<ZemFlatFiler> filer;
    if (isFlat) {
        filer.setBinaryData(std::move(bytes));
    } else {
        filer.clear();
        filer.wrBytes(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        filer.seek(0, OdDb::kSeekFromStart);
    }
    for (std::size_t i = 0; i < operations; ++i) {
        operate(filer, data[1 + i]);
    }
    carryThroughRecords(filer);
    return 0;
}
