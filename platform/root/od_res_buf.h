// Linked records of typed values: extended data and the content of records.

#pragma once

#include "root/od_array.h"
#include "root/od_rx_class.h"
#include "root/od_string.h"

#include <array>
#include <cstdint>
#include <variant>

class OdResBuf;
using OdResBufPtr = OdSmartPtr<OdResBuf>;

/// One record: a group code, a value of the kind that the code stands for, and the next record.
///
/// A new record holds the default of its kind: an empty text, 0, false. Reading another kind than
/// the one held, or setting another than the code stands for, throws OdError (wrong kind of result
/// buffer). A group code that stands for no kind takes a value of any, and holds none at first.
///
/// A chain is owned by its first record and may be of any length; it must not lead back to itself.
class OdResBuf : public OdRxObject
{
    RX_DECLARE_CLASS(OdResBuf);

public:
    /// Kinds of values, in the order in which `Value` lists their types.
    enum class Kind
    {
        kNone,
        kString,
        kBool,
        kInt8,
        kInt16,
        kInt32,
        kInt64,
        kDouble,
        kPoint,
        kHandle,
        kBinary
    };
    using Point = std::array<double, 3>;

    /// \name Group codes of extended data
    /// @{
    static constexpr int kXdString = 1000;
    static constexpr int kXdAppName = 1001;  ///< starts the data of an application
    static constexpr int kXdControl = 1002;  ///< an opening or closing brace
    static constexpr int kXdLayerName = 1003;
    static constexpr int kXdBinary = 1004;  ///< at most `kMaxXdBinaryBytes`
    static constexpr int kXdHandle = 1005;
    static constexpr int kXdPoint = 1010;     ///< carried as it is
    static constexpr int kXdPosition = 1011;  ///< moved with the object
    static constexpr int kXdDisplacement = 1012;
    static constexpr int kXdDirection = 1013;
    static constexpr int kXdReal = 1040;
    static constexpr int kXdDistance = 1041;
    static constexpr int kXdScale = 1042;
    static constexpr int kXdInt16 = 1070;
    static constexpr int kXdInt32 = 1071;
    static constexpr int kMaxXdBinaryBytes = 127;
    /// @}

    /// The kind that a group code stands for; `kNone` for a code that stands for none.
    static Kind kindOf(int groupCode) noexcept;
    /// Whether the code may occur in extended data.
    static bool isXDataCode(int groupCode) noexcept;

    ~OdResBuf() override;

    /// \name Chain
    /// @{
    static OdResBufPtr newRb(int groupCode = 0);
    OdResBufPtr next() const { return m_next; }
    /// Links a record behind this one and lets go of what was there; null ends the chain. Takes
    /// time with the length of what is linked, unless this record is the first of its chain.
    /// \throws OdError (cyclic reference) if this record stands in the chain that `next` starts.
    void setNext(OdResBuf* next);
    /// The last record of the chain, which may be this one. Takes time with its length.
    OdResBufPtr last();
    /// A copy of this record and all behind it.
    OdResBufPtr cloneChain() const;
    /// Whether two chains have equal records in the same order; null is the empty chain.
    static bool areChainsEqual(OdResBuf const* left, OdResBuf const* right);
    /// @}

    /// \name Record
    /// @{
    int restype() const noexcept { return m_groupCode; }
    /// Changes the group code; a value of another kind than the code stands for becomes the default.
    void setRestype(int groupCode);
    /// Kind of the value held.
    Kind kind() const noexcept { return static_cast<Kind>(m_value.index()); }

    OdString getString() const { return get<OdString>(); }
    bool getBool() const { return get<bool>(); }
    std::int8_t getInt8() const { return get<std::int8_t>(); }
    std::int16_t getInt16() const { return get<std::int16_t>(); }
    std::int32_t getInt32() const { return get<std::int32_t>(); }
    std::int64_t getInt64() const { return get<std::int64_t>(); }
    double getDouble() const { return get<double>(); }
    Point getPoint() const { return get<Point>(); }
    std::uint64_t getHandle() const { return get<std::uint64_t>(); }
    OdBinaryData getBinaryChunk() const { return get<OdBinaryData>(); }

    void setString(OdString const& value) { set(value); }
    void setBool(bool value) { set(value); }
    void setInt8(std::int8_t value) { set(value); }
    void setInt16(std::int16_t value) { set(value); }
    void setInt32(std::int32_t value) { set(value); }
    void setInt64(std::int64_t value) { set(value); }
    void setDouble(double value) { set(value); }
    void setPoint(Point const& value) { set(value); }
    void setHandle(std::uint64_t value) { set(value); }
    void setBinaryChunk(OdBinaryData const& value) { set(value); }
    /// @}

    /// \name Values
    /// Of this record alone, without the chain.
    /// @{
    bool hasEqualValue(OdResBuf const& other) const;
    OdRxObjectPtr clone() const override;
    /// \throws OdError_NotThatKindOfClass, OdError (null object pointer).
    void copyFrom(OdRxObject const* source) override;
    bool isEqualTo(OdRxObject const* other) const override;
    /// @}

protected:
    OdResBuf() = default;

private:
    using Value =
        std::variant<std::monostate, OdString, bool, std::int8_t, std::int16_t, std::int32_t,
                     std::int64_t, double, Point, std::uint64_t, OdBinaryData>;

    static Value defaultOf(Kind kind);
    OdResBufPtr copyRecord() const;
    bool standsBehind(OdResBuf const* first) const noexcept;
    void link(OdResBufPtr next);
    OdResBufPtr takeNext() noexcept;
    [[noreturn]] static void throwWrongKind();

    template <class T>
    T const& get() const
    {
        T const* const value = std::get_if<T>(&m_value);
        if (value == nullptr) {
            throwWrongKind();
        }
        return *value;
    }

    template <class T>
    void set(T const& value)
    {
        Kind const expected = kindOf(m_groupCode);
        if (expected != Kind::kNone && !std::holds_alternative<T>(m_value)) {
            throwWrongKind();
        }
        m_value = value;
    }

    Value m_value;
    OdResBufPtr m_next;
    int m_groupCode = 0;
    int m_predecessors = 0;  ///< records that this one is linked behind
};
