// A moment in time with milliseconds.

#pragma once

#include <compare>
#include <cstdint>
#include <ctime>

/// A moment as date and time of day, as a value.
///
/// Counts milliseconds from the start of 1970 and doesn't know whether it stands for universal or
/// local time: that is the caller's business, as are the two conversions between them. Leap seconds
/// don't exist.
class OdTimeStamp
{
public:
    /// The start of 1970.
    constexpr OdTimeStamp() noexcept = default;
    constexpr explicit OdTimeStamp(std::int64_t totalMilliseconds) noexcept
        : m_milliseconds(totalMilliseconds)
    {
    }
    /// From date and time of day; fields outside of their range carry over, and the time zone and
    /// daylight fields are ignored.
    /// \throws OdError (bad input) for a moment that can't be counted.
    static OdTimeStamp fromTm(std::tm const& fields, int milliseconds = 0);
    /// The present moment in universal time.
    static OdTimeStamp now();

    /// Sets the present moment in universal or in local time.
    void getUniversalTime() { *this = now(); }
    void getLocalTime();
    /// Takes the time as universal and makes it local.
    /// \throws OdError (bad input) for a year that the calendar functions can't express.
    void universalToLocal();
    /// Takes the time as local and makes it universal. An hour that daylight saving skips is taken
    /// as if it existed; of an hour that occurs twice, the system picks one.
    /// \throws OdError (bad input) for a year that the calendar functions can't express.
    void localToUniversal();

    /// Date and time of day, for `strftime`.
    /// \throws OdError (bad input) for a year that the calendar functions can't express.
    std::tm toTm() const;
    /// Milliseconds within the second, 0 to 999.
    unsigned milliseconds() const noexcept;
    /// Milliseconds since the start of 1970, negative before.
    constexpr std::int64_t totalMilliseconds() const noexcept { return m_milliseconds; }

    friend constexpr auto operator<=>(OdTimeStamp const&, OdTimeStamp const&) = default;

private:
    std::int64_t m_milliseconds = 0;
};
