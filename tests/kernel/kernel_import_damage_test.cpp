// Damaged STEP and BREP files: each gives solids or an error that names the file, within its limits.

#include "kernel/kernel_import.h"

#include "kernel_test_files.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using kernel_test::boxStepText;
using kernel_test::TemporaryFolder;
using zemhost::ImportOptions;
using zemhost::KernelError;
using zemhost::KernelFailure;

constexpr int kCuts = 100;
constexpr int kFlips = 200;
constexpr int kReplacements = 100;
constexpr unsigned kSeed = 20240611;

/// What a series of damaged files came to.
struct Outcomes
{
    int solids = 0;
    int truncated = 0;
    int other = 0;
};

/// Imports damaged content and counts what came of it.
class DamagedFiles
{
public:
    explicit DamagedFiles(std::string ending) : m_ending(std::move(ending))
    {
        m_options.timeLimit = std::chrono::seconds(10);
        m_options.memoryLimitBytes = std::uint64_t{512} << 20;
    }

    void import(std::string_view content, const std::string& what)
    {
        const std::filesystem::path file = m_folder.write("damaged" + m_ending, content);
        try {
            const zemhost::ImportResult result = zemhost::importFile(file, m_options);
            EXPECT_FALSE(result.solids.empty()) << what;
            ++m_outcomes.solids;
        } catch (const KernelError& error) {
            EXPECT_EQ(error.file(), file.string()) << what;
            EXPECT_FALSE(error.reason().empty()) << what;
            EXPECT_NE(error.failure(), KernelFailure::kTimeLimit) << what;
            ++(error.failure() == KernelFailure::kTruncatedFile ? m_outcomes.truncated
                                                                : m_outcomes.other);
        }
    }

    const Outcomes& outcomes() const { return m_outcomes; }

private:
    TemporaryFolder m_folder;
    std::string m_ending;
    ImportOptions m_options;
    Outcomes m_outcomes;
};

std::size_t cutLength(std::size_t size, int index)
{
    return size * static_cast<std::size_t>(index) / kCuts;
}

std::string wedgeBrepText()
{
    return kernel_test::readFile(kernel_test::samplePath("occ/wedge_ok.brep"));
}

void flipBits(DamagedFiles& files, const std::string& good)
{
    std::mt19937 random(kSeed);
    for (int index = 0; index < kFlips; ++index) {
        std::string text = good;
        const std::size_t offset = random() % text.size();
        const unsigned bit = random() % 8;
        text[offset] = static_cast<char>(text[offset] ^ (1 << bit));
        files.import(text, "bit " + std::to_string(bit) + " of byte " + std::to_string(offset));
    }
}

/// Puts digits and separators where others stood: files that still look like their format.
void replaceLetters(DamagedFiles& files, const std::string& good)
{
    constexpr std::string_view kLetters = "0123456789#$*(),;'-.";
    constexpr int kLettersPerCase = 5;
    std::mt19937 random(kSeed);
    for (int index = 0; index < kReplacements; ++index) {
        std::string text = good;
        for (int letter = 0; letter < kLettersPerCase; ++letter) {
            text[random() % text.size()] = kLetters[random() % kLetters.size()];
        }
        files.import(text, "replacement case " + std::to_string(index));
    }
}

/// Makes counts and references absurdly large.
void enlargeNumbers(DamagedFiles& files, const std::string& good)
{
    std::mt19937 random(kSeed);
    for (int index = 0; index < kReplacements; ++index) {
        std::string text = good;
        const std::size_t digit = text.find_first_of("0123456789", random() % text.size());
        if (digit != std::string::npos) {
            text.insert(digit, "99999");
        }
        files.import(text, "enlarged number " + std::to_string(index));
    }
}

TEST(DamagedStep, CutAnywhereIsToldAsTruncated)
{
    DamagedFiles files(".step");
    const std::string good = boxStepText();
    for (int index = 1; index < kCuts; ++index) {
        files.import(std::string_view(good).substr(0, cutLength(good.size(), index)),
                     "cut " + std::to_string(index));
    }
    EXPECT_EQ(files.outcomes().truncated, kCuts - 1);
}

TEST(DamagedStep, CutAnywhereWithAGoodEndGivesSolidsOrAnError)
{
    DamagedFiles files(".step");
    const std::string good = boxStepText();
    for (int index = 1; index < kCuts; ++index) {
        files.import(good.substr(0, cutLength(good.size(), index)) +
                         ";\nENDSEC;\nEND-ISO-10303-21;\n",
                     "cut " + std::to_string(index));
    }
    EXPECT_GT(files.outcomes().other, kCuts / 2);
}

TEST(DamagedStep, WithABitFlippedGivesSolidsOrAnError)
{
    DamagedFiles files(".step");
    flipBits(files, boxStepText());
    EXPECT_GT(files.outcomes().solids, 0);
    EXPECT_GT(files.outcomes().other, 0);
}

TEST(DamagedStep, WithLettersReplacedGivesSolidsOrAnError)
{
    DamagedFiles files(".step");
    replaceLetters(files, boxStepText());
    EXPECT_GT(files.outcomes().other, 0);
}

TEST(DamagedStep, WithAbsurdNumbersGivesSolidsOrAnError)
{
    DamagedFiles files(".step");
    enlargeNumbers(files, boxStepText());
    EXPECT_GT(files.outcomes().other, 0);
}

TEST(DamagedStep, WithDeeplyNestedListsGivesAnError)
{
    constexpr std::size_t kDepth = 1'000'000;
    DamagedFiles files(".step");
    const std::string nested = std::string(kDepth, '(') + std::string(kDepth, ')');
    files.import("ISO-10303-21;\nHEADER;\nENDSEC;\nDATA;\n#1=CARTESIAN_POINT(''," + nested +
                     ");\nENDSEC;\nEND-ISO-10303-21;\n",
                 "nested lists");
    EXPECT_EQ(files.outcomes().solids, 0);
}

struct StructureCase
{
    const char* name;
    const char* data;
    const char* reason;
};

TEST(DamagedStep, WithABrokenStructureIsToldByItsLine)
{
    constexpr StructureCase kCases[] = {
        {"entity twice", "#1=A();\n#2=B('#1=',/*#3=*/#1);\n#1=C();\n",
         "entity #1 is defined twice"},
        {"text without an end", "#1=A();\n#2=B('\n);\n", "line 4: the text has no end"},
        {"comment without an end", "#1=A();\n\n/* more\n", "line 5: the comment has no end"},
        {"absurd number", "#99999999999999999999999=A();\n",
         "line 3: the entity number is too large"},
        {"infinite number", "#1=A();\n#2=B((0.,-1.5E+400));\n",
         "line 4: the number 1.5E+400 is too large"},
        {"number behind a binary", "#1=A(\"9E999\",9E999);\n",
         "line 3: the number 9E999 is too large"},
    };
    const TemporaryFolder folder;
    for (const StructureCase& row : kCases) {
        const std::filesystem::path file =
            folder.write("case.step", std::string("ISO-10303-21;\nDATA;\n") + row.data +
                                          "ENDSEC;\nEND-ISO-10303-21;\n");
        try {
            (void)zemhost::importFile(file);
            ADD_FAILURE() << row.name << ": no error";
        } catch (const KernelError& error) {
            EXPECT_EQ(error.failure(), KernelFailure::kDamagedFile) << row.name;
            EXPECT_EQ(error.reason(), row.reason) << row.name;
        }
    }
}

TEST(DamagedStep, WithListsTooDeepForTheKernelIsToldByItsLine)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.write(
        "deep.step", "ISO-10303-21;\nDATA;\n#1=A(" + std::string(100'000, '(') +
                         std::string(100'000, ')') + ");\nENDSEC;\nEND-ISO-10303-21;\n");
    try {
        (void)zemhost::importFile(file);
        ADD_FAILURE() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.reason(), "line 3: lists nest deeper than 1000 levels");
    }
}

TEST(ImportStep, TakesSmallNumbersAndDigitsInNamesForWhatTheyAre)
{
    const TemporaryFolder folder;
    const std::string more = "DATA;\n#900000=A(1.E-400,'1E999',\"01E999\",.E999.,B1E999(2),#16);\n";
    const std::filesystem::path file =
        folder.write("numbers.step", kernel_test::replaced(boxStepText(), "DATA;\n", more.c_str()));
    EXPECT_EQ(zemhost::importFile(file).solids.size(), 1U);
}

TEST(DamagedStep, WhoseEntitiesReferToThemselvesGivesAnError)
{
    DamagedFiles files(".step");
    const std::string good = boxStepText();
    files.import(kernel_test::replaced(good, "CLOSED_SHELL('',(#17,", "CLOSED_SHELL('',(#16,"),
                 "shell inside itself");
    EXPECT_EQ(files.outcomes().truncated, 0);
}

TEST(DamagedBrep, CutAnywhereGivesAnError)
{
    DamagedFiles files(".brep");
    const std::string good = wedgeBrepText();
    for (int index = 1; index < kCuts; ++index) {
        files.import(std::string_view(good).substr(0, cutLength(good.size(), index)),
                     "cut " + std::to_string(index));
    }
    EXPECT_EQ(files.outcomes().solids, 0);
}

TEST(DamagedBrep, WithABitFlippedGivesSolidsOrAnError)
{
    DamagedFiles files(".brep");
    flipBits(files, wedgeBrepText());
    EXPECT_GT(files.outcomes().solids, 0);
    EXPECT_GT(files.outcomes().other, 0);
}

TEST(DamagedBrep, WithLettersReplacedGivesSolidsOrAnError)
{
    DamagedFiles files(".brep");
    replaceLetters(files, wedgeBrepText());
    EXPECT_GT(files.outcomes().other, 0);
}

TEST(DamagedBrep, WithAbsurdNumbersGivesSolidsOrAnError)
{
    DamagedFiles files(".brep");
    enlargeNumbers(files, wedgeBrepText());
    EXPECT_GT(files.outcomes().other, 0);
}

}  // namespace
