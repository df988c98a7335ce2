#include "db/od_db_xdata_impl.h"
#include "root/od_error.h"

#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "packed extended data is little-endian and copied as it lies");

namespace {

/// Kinds of values that extended data holds.
enum class Kind : std::uint8_t
{
    kText,
    kBinary,
    kHandle,
    kPoint,
    kReal,
    kInt16,
    kInt32,
    kNone
};

Kind kindOf(int code)
{
    switch (code) {
    case 1000:
    case 1002:
    case 1003:
        return Kind::kText;
    case 1004:
        return Kind::kBinary;
    case 1005:
        return Kind::kHandle;
    case 1010:
    case 1011:
    case 1012:
    case 1013:
        return Kind::kPoint;
    case 1040:
    case 1041:
    case 1042:
        return Kind::kReal;
    case 1070:
        return Kind::kInt16;
    case 1071:
        return Kind::kInt32;
    default:
        return Kind::kNone;
    }
}

class Packer
{
public:
    template <class T>
    void put(T value)
    {
        auto const* from = reinterpret_cast<std::uint8_t const*>(&value);
        m_bytes.insert(m_bytes.end(), from, from + sizeof value);
    }
    void putRange(void const* data, std::size_t size)
    {
        put(static_cast<std::uint32_t>(size));
        auto const* from = static_cast<std::uint8_t const*>(data);
        m_bytes.insert(m_bytes.end(), from, from + size);
    }
    void putRecord(OdResBuf const& record)
    {
        const Kind kind = kindOf(record.restype());
        if (kind == Kind::kNone) {
            throw OdError(kOdInvalidInput);
        }
        put(static_cast<std::uint16_t>(record.restype()));
        putValue(record, kind);
    }
    std::vector<std::uint8_t> take() { return std::move(m_bytes); }

private:
    void putValue(OdResBuf const& record, Kind kind)
    {
        switch (kind) {
        case Kind::kText: {
            const OdString text = record.getString();
            putRange(text.utf8().data(), text.utf8().size());
            break;
        }
        case Kind::kBinary: {
            const OdBinaryData data = record.getBinaryChunk();
            putRange(data.getPtr(), data.size());
            break;
        }
        case Kind::kHandle:
            put(static_cast<std::uint64_t>(record.getHandle()));
            break;
        case Kind::kPoint:
            for (double coordinate : record.getPoint()) {
                put(coordinate);
            }
            break;
        case Kind::kReal:
            put(record.getDouble());
            break;
        case Kind::kInt16:
            put(record.getInt16());
            break;
        case Kind::kInt32:
            put(record.getInt32());
            break;
        case Kind::kNone:
            break;
        }
    }

    std::vector<std::uint8_t> m_bytes;
};

class Unpacker
{
public:
    explicit Unpacker(std::span<std::uint8_t const> bytes) : m_bytes(bytes) {}

    bool atEnd() const noexcept { return m_bytes.empty(); }

    OdResBufPtr takeRecord()
    {
        const int code = take<std::uint16_t>();
        const Kind kind = kindOf(code);
        if (kind == Kind::kNone) {
            throw OdError(kOdBadStream);
        }
        OdResBufPtr record = OdResBuf::newRb(code);
        takeValue(*record, kind);
        return record;
    }

private:
    std::span<std::uint8_t const> takeBytes(std::size_t count)
    {
        if (count > m_bytes.size()) {
            throw OdError(kOdBadStream);
        }
        const auto taken = m_bytes.first(count);
        m_bytes = m_bytes.subspan(count);
        return taken;
    }
    template <class T>
    T take()
    {
        T value;
        std::memcpy(&value, takeBytes(sizeof value).data(), sizeof value);
        return value;
    }
    std::span<std::uint8_t const> takeRange() { return takeBytes(take<std::uint32_t>()); }
    void takeValue(OdResBuf& record, Kind kind)
    {
        switch (kind) {
        case Kind::kText: {
            const auto text = takeRange();
            record.setString(
                OdString::fromUtf8(reinterpret_cast<char const*>(text.data()), text.size()));
            break;
        }
        case Kind::kBinary: {
            const auto bytes = takeRange();
            OdBinaryData data;
            data.resize(static_cast<unsigned>(bytes.size()));
            if (!bytes.empty()) {
                std::memcpy(data.asArrayPtr(), bytes.data(), bytes.size());
            }
            record.setBinaryChunk(data);
            break;
        }
        case Kind::kHandle:
            record.setHandle(take<std::uint64_t>());
            break;
        case Kind::kPoint: {
            const auto x = take<double>();
            const auto y = take<double>();
            const auto z = take<double>();
            record.setPoint({x, y, z});
            break;
        }
        case Kind::kReal:
            record.setDouble(take<double>());
            break;
        case Kind::kInt16:
            record.setInt16(take<std::int16_t>());
            break;
        case Kind::kInt32:
            record.setInt32(take<std::int32_t>());
            break;
        case Kind::kNone:
            break;
        }
    }

    std::span<std::uint8_t const> m_bytes;
};

}  // namespace

std::vector<std::uint8_t> odDbPackXData(OdResBuf const* first)
{
    Packer packer;
    for (OdResBuf const* at = first; at != nullptr && at->restype() != 1001;
         at = at->next().get()) {
        packer.putRecord(*at);
    }
    return packer.take();
}

void odDbUnpackXData(std::span<std::uint8_t const> bytes, OdResBufPtr head)
{
    Unpacker unpacker(bytes);
    OdResBufPtr last = head->last();
    while (!unpacker.atEnd()) {
        const OdResBufPtr record = unpacker.takeRecord();
        last->setNext(record.get());
        last = record;
    }
}
