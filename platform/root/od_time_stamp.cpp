#include "root/od_time_stamp.h"

#include "root/od_error.h"

#include <chrono>

namespace {

constexpr std::int64_t kMillisecondsPerSecond = 1000;

/// The second that a moment lies in, also before 1970.
std::time_t secondOf(std::int64_t milliseconds)
{
    std::int64_t const quotient = milliseconds / kMillisecondsPerSecond;
    return milliseconds % kMillisecondsPerSecond < 0 ? quotient - 1 : quotient;
}

std::int64_t fractionOf(std::int64_t milliseconds)
{
    std::int64_t const remainder = milliseconds % kMillisecondsPerSecond;
    return remainder < 0 ? remainder + kMillisecondsPerSecond : remainder;
}

/// \throws OdError (bad input) for a moment that can't be counted.
std::int64_t millisecondsOf(std::time_t second, std::int64_t fraction)
{
    std::int64_t result = 0;
    if (__builtin_mul_overflow(std::int64_t{second}, kMillisecondsPerSecond, &result) ||
        __builtin_add_overflow(result, fraction, &result)) {
        throw OdError(kOdInvalidInput);
    }
    return result;
}

}  // namespace

OdTimeStamp OdTimeStamp::fromTm(std::tm const& fields, int milliseconds)
{
    std::tm copy = fields;
    return OdTimeStamp(millisecondsOf(::timegm(&copy), milliseconds));
}

OdTimeStamp OdTimeStamp::now()
{
    using namespace std::chrono;
    return OdTimeStamp(
        duration_cast<std::chrono::milliseconds>(system_clock::now().time_since_epoch()).count());
}

void OdTimeStamp::getLocalTime()
{
    getUniversalTime();
    universalToLocal();
}

void OdTimeStamp::universalToLocal()
{
    std::time_t const second = secondOf(m_milliseconds);
    std::tm fields{};
    if (::localtime_r(&second, &fields) == nullptr) {
        throw OdError(kOdInvalidInput);
    }
    std::int64_t local = 0;
    if (__builtin_add_overflow(m_milliseconds, fields.tm_gmtoff * kMillisecondsPerSecond, &local)) {
        throw OdError(kOdInvalidInput);
    }
    m_milliseconds = local;
}

void OdTimeStamp::localToUniversal()
{
    std::tm fields = toTm();
    fields.tm_isdst = -1;
    m_milliseconds = millisecondsOf(std::mktime(&fields), fractionOf(m_milliseconds));
}

std::tm OdTimeStamp::toTm() const
{
    std::time_t const second = secondOf(m_milliseconds);
    std::tm fields{};
    if (::gmtime_r(&second, &fields) == nullptr) {
        throw OdError(kOdInvalidInput);
    }
    return fields;
}

unsigned OdTimeStamp::milliseconds() const noexcept
{
    return static_cast<unsigned>(fractionOf(m_milliseconds));
}
