#include "root/od_time_stamp.h"

#include "root_test_support.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>

namespace {

/// Sets the process's time zone, by a rule that needs no data base.
class TimeZone
{
public:
    explicit TimeZone(char const* rule)
    {
        char const* const before = std::getenv("TZ");
        m_hadOne = before != nullptr;
        m_before = m_hadOne ? before : "";
        ::setenv("TZ", rule, 1);
        ::tzset();
    }
    TimeZone(TimeZone const&) = delete;
    TimeZone& operator=(TimeZone const&) = delete;
    ~TimeZone()
    {
        if (m_hadOne) {
            ::setenv("TZ", m_before.c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

private:
    bool m_hadOne;
    std::string m_before;
};

constexpr char const* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

OdTimeStamp moment(int year, int month, int day, int hour, int minute, int second, int ms = 0)
{
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    return OdTimeStamp::fromTm(fields, ms);
}

std::string print(OdTimeStamp const& stamp)
{
    std::tm const fields = stamp.toTm();
    char text[64];
    return {text, std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &fields)};
}

TEST(OdTimeStamp, StartsAt1970)
{
    EXPECT_EQ(print(OdTimeStamp()), "1970-01-01 00:00:00");
    EXPECT_EQ(OdTimeStamp().totalMilliseconds(), 0);
}

TEST(OdTimeStamp, BreaksAMomentDown)
{
    OdTimeStamp const stamp = moment(2024, 2, 29, 13, 5, 9, 42);
    EXPECT_EQ(print(stamp), "2024-02-29 13:05:09");
    EXPECT_EQ(stamp.milliseconds(), 42U);
    EXPECT_EQ(stamp.toTm().tm_wday, 4);
}

TEST(OdTimeStamp, CountsMillisecondsUpwardsBefore1970Too)
{
    OdTimeStamp const stamp(-1);
    EXPECT_EQ(print(stamp), "1969-12-31 23:59:59");
    EXPECT_EQ(stamp.milliseconds(), 999U);
}

TEST(OdTimeStamp, OrdersMoments)
{
    EXPECT_LT(OdTimeStamp(1), OdTimeStamp(2));
    EXPECT_EQ(OdTimeStamp(1), OdTimeStamp(1));
}

TEST(OdTimeStamp, KnowsThePresent)
{
    OdTimeStamp const before(std::int64_t{std::time(nullptr)} * 1000);
    OdTimeStamp stamp;
    stamp.getUniversalTime();
    OdTimeStamp const after = OdTimeStamp::now();
    EXPECT_LE(before, stamp);
    EXPECT_LE(stamp, after);
}

TEST(OdTimeStampZone, ConvertsInWinterAndSummer)
{
    TimeZone const zone(kCentralEurope);
    OdTimeStamp winter = moment(2024, 1, 15, 12, 0, 0, 7);
    winter.universalToLocal();
    EXPECT_EQ(print(winter), "2024-01-15 13:00:00");
    EXPECT_EQ(winter.milliseconds(), 7U);
    winter.localToUniversal();
    EXPECT_EQ(winter, moment(2024, 1, 15, 12, 0, 0, 7));
    OdTimeStamp summer = moment(2024, 7, 15, 12, 0, 0);
    summer.universalToLocal();
    EXPECT_EQ(print(summer), "2024-07-15 14:00:00");
    summer.localToUniversal();
    EXPECT_EQ(summer, moment(2024, 7, 15, 12, 0, 0));
}

TEST(OdTimeStampZone, GivesTheLocalPresent)
{
    TimeZone const zone("XXX-5");
    OdTimeStamp stamp;
    stamp.getLocalTime();
    std::int64_t const ahead = stamp.totalMilliseconds() - OdTimeStamp::now().totalMilliseconds();
    constexpr std::int64_t kFiveHours = 5 * 3600 * 1000;
    EXPECT_LE(ahead, kFiveHours);
    EXPECT_GT(ahead, kFiveHours - 60 * 1000);
}

TEST(OdTimeStampLimits, RefuseAYearBeyondTheCalendar)
{
    // Milliseconds alone can't leave the calendar's years of 32 bits.
    for (auto const total :
         {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_EQ(thrownCode([&] { (void)OdTimeStamp(total).toTm(); }), kOdOk);
    }
}

RC_GTEST_PROP(OdTimeStampProperties, ComesBackFromItsFields, ())
{
    OdTimeStamp const stamp(*rc::gen::inRange<std::int64_t>(-4000000000000, 8000000000000));
    OdTimeStamp const back =
        OdTimeStamp::fromTm(stamp.toTm(), static_cast<int>(stamp.milliseconds()));
    RC_ASSERT(back == stamp);
}

TEST(OdTimeStamp, RefusesMomentsThatCannotBeCounted)
{
    const TimeZone west("EST5");
    OdTimeStamp last(std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(thrownCode([&] { last.localToUniversal(); }), kOdInvalidInput);
    EXPECT_EQ(last.totalMilliseconds(), std::numeric_limits<std::int64_t>::max());

    std::tm fields{};
    fields.tm_year = std::numeric_limits<int>::max();
    EXPECT_EQ(thrownCode([&] { (void)OdTimeStamp::fromTm(fields); }), kOdInvalidInput);
}

}  // namespace
