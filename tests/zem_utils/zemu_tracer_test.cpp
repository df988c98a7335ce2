#include "zem_utils/zemu_tracer.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

ZemuTraceSink appendTo(std::string& text)
{
    return [&text](std::string_view piece) { text += piece; };
}

}  // namespace

TEST(ZemuTracer, PrintsTextAndNumbersInOrder)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << "a " << 2.5 << " " << 7U << " " << -8L << std::endl;

    EXPECT_EQ(text, "a 2.5 7 -8\n");
}

TEST(ZemuTracer, PrintsDoublesWithTheDefaultPrecisionOfAStream)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << 1.0 / 3.0 << " " << 1e10 << " " << 100000.0 << " " << -0.0;

    EXPECT_EQ(text, "0.333333 1e+10 100000 -0");
}

TEST(ZemuTracer, PrintsNothingForNullText)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << static_cast<char const*>(nullptr) << "b";

    EXPECT_EQ(text, "b");
}

TEST(ZemuTracer, TakesManipulators)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << std::hex << 255U << std::dec << " " << 255U;
    tracer.stream() << " " << std::setw(4) << 1;

    EXPECT_EQ(text, "ff 255    1");
}

TEST(ZemuTracer, DiscardsTextWithoutASink)
{
    ZemuTracer tracer;

    tracer << "lost" << std::endl;
    std::string text;
    tracer.setSink(appendTo(text));
    tracer << "kept";

    EXPECT_EQ(text, "kept");
}

TEST(ZemuTracer, GoesOnAfterASinkThatThrew)
{
    ZemuTracer tracer([](std::string_view) { throw std::runtime_error("full"); });

    EXPECT_NO_THROW(tracer << "lost" << std::endl);
    std::string text;
    tracer.setSink(appendTo(text));
    tracer << "kept";

    EXPECT_EQ(text, "kept");
}

TEST(ZemuTracer, MayReplaceTheSinkThatRuns)
{
    std::string text;
    ZemuTracer tracer;
    const std::string own(64, 'x');
    tracer.setSink([&tracer, &text, own](std::string_view piece) {
        tracer.setSink(appendTo(text));
        tracer << "from the sink itself";
        text += own;
        text += piece;
    });

    tracer << "first" << std::endl << "second";

    EXPECT_EQ(text, own + "first\nsecond");
}

TEST(ZemuTracerStr, EndsALineThatWasBegun)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << "first";
    tracer.str(tracer.traceLevel()) << "second" << std::endl;
    tracer.str(tracer.traceLevel()) << "third";

    EXPECT_EQ(text, "first\nsecond\nthird");
}

TEST(ZemuTracerStr, LeavesOutLinesAboveTheTracersLevel)
{
    std::string text;
    ZemuTracer tracer(appendTo(text), 1);

    tracer.str(2) << "detail" << std::endl << "more detail" << std::endl;
    tracer.str(1) << "news" << std::endl;

    EXPECT_EQ(text, "news\n");
    EXPECT_EQ(tracer.traceLevel(), 1);
}

TEST(ZemuTraceIndenter, IndentsLinesForAsLongAsItLives)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << "outer" << std::endl;
    {
        const ZemuTraceIndenter indenter(0, "", 0);
        tracer << "inner" << std::endl;
        {
            const ZemuTraceIndenter second(0, "", 0);
            tracer << "innermost\nagain" << std::endl;
        }
        tracer << "inner" << std::endl;
    }
    tracer << "outer" << std::endl;

    EXPECT_EQ(text, "outer\n  inner\n    innermost\n    again\n  inner\nouter\n");
}

TEST(ZemuTraceIndenter, LeavesALineThatWasBegunAndEmptyLinesAsTheyAre)
{
    std::string text;
    ZemuTracer tracer(appendTo(text));

    tracer << "begun ";
    const ZemuTraceIndenter indenter(0, "", 0);
    tracer << "and ended" << std::endl << std::endl << "inner";

    EXPECT_EQ(text, "begun and ended\n\n  inner");
}

TEST(ZemuTraceIndenter, CountsForItsOwnThreadOnly)
{
    const ZemuTraceIndenter indenter(0, "", 0);
    unsigned depthElsewhere = 1;

    std::thread([&] { depthElsewhere = ZemuTraceIndenter::depth(); }).join();

    EXPECT_EQ(depthElsewhere, 0U);
    EXPECT_EQ(ZemuTraceIndenter::depth(), 1U);
}

TEST(ZemuTraceIndenter, ThatEndsOnAnotherThreadLeavesThatOneWithoutIndentation)
{
    std::unique_ptr<ZemuTraceIndenter> indenter;
    std::thread([&] { indenter = std::make_unique<ZemuTraceIndenter>(0, "", 0); }).join();
    std::string text;
    std::thread([&] {
        indenter.reset();
        ZemuTracer tracer(appendTo(text));
        tracer << "line";
    }).join();

    EXPECT_EQ(text, "line");
}
