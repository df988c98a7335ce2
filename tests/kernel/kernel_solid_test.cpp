// Figures, numbers and stored bytes of a solid.

#include "kernel/kernel_import.h"
#include "kernel/kernel_solid.h"

#include "kernel_test_files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>

namespace {

using zemhost::KernelError;
using zemhost::KernelFailure;
using zemhost::KernelSolid;

constexpr double kTolerance = 1e-9;
constexpr double kPi = 3.14159265358979323846;

/// Why an operation failed, or nothing.
template <typename Operation>
std::optional<KernelFailure> failureOf(Operation&& operation)
{
    try {
        operation();
    } catch (const KernelError& error) {
        return error.failure();
    }
    return std::nullopt;
}

/// The checksum of the stored form, computed bit by bit.
std::uint32_t plainCrc32(std::span<const unsigned char> bytes)
{
    std::uint32_t value = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
        value ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? 0xEDB88320 ^ (value >> 1) : value >> 1;
        }
    }
    return ~value;
}

constexpr std::size_t kHeaderBytes = 24;
constexpr std::size_t kChecksumOffset = 12;

/// Makes the checksum right again after a change of the payload.
void repairChecksum(std::vector<unsigned char>& bytes)
{
    const std::uint32_t checksum =
        plainCrc32(std::span<const unsigned char>(bytes).subspan(kHeaderBytes));
    for (std::size_t index = 0; index < 4; ++index) {
        bytes[kChecksumOffset + index] = static_cast<unsigned char>(checksum >> (8 * index));
    }
}

TEST(KernelSolid, ABoxHasTheFiguresOfItsSides)
{
    const KernelSolid box = KernelSolid::makeBox(10, 20, 30);
    EXPECT_EQ(box.faceCount(), 6);
    EXPECT_EQ(box.edgeCount(), 12);
    EXPECT_EQ(box.vertexCount(), 8);
    EXPECT_NEAR(box.volumeMm3(), 6000, 6000 * kTolerance);
    EXPECT_NEAR(box.areaMm2(), 2200, 2200 * kTolerance);
    EXPECT_TRUE(box.isValid());
}

TEST(KernelSolid, TheBoundingBoxIsTheOneOfTheGeometry)
{
    const zemhost::KernelBox bounds = KernelSolid::makeCylinder(5, 8).boundingBox();
    const zemhost::KernelPoint min = {-5, -5, 0};
    const zemhost::KernelPoint max = {5, 5, 8};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(bounds.min[axis], min[axis], 1e-6) << "axis " << axis;
        EXPECT_NEAR(bounds.max[axis], max[axis], 1e-6) << "axis " << axis;
    }
}

TEST(KernelSolid, EachFaceEdgeAndVertexOfABoxIsTold)
{
    const KernelSolid box = KernelSolid::makeBox(1, 2, 3);
    double area = 0;
    for (int number = 1; number <= box.faceCount(); ++number) {
        EXPECT_EQ(box.face(number).kind, zemhost::SurfaceKind::kPlane) << "face " << number;
        area += box.face(number).areaMm2;
    }
    EXPECT_NEAR(area, 22, kTolerance);
    double length = 0;
    for (int number = 1; number <= box.edgeCount(); ++number) {
        EXPECT_EQ(box.edge(number).kind, zemhost::CurveKind::kLine) << "edge " << number;
        length += box.edge(number).lengthMm;
    }
    EXPECT_NEAR(length, 24, kTolerance);
    std::set<zemhost::KernelPoint> corners;
    for (int number = 1; number <= box.vertexCount(); ++number) {
        corners.insert(box.vertex(number).point);
    }
    const std::set<zemhost::KernelPoint> expected = {{0, 0, 0}, {1, 0, 0}, {0, 2, 0}, {1, 2, 0},
                                                     {0, 0, 3}, {1, 0, 3}, {0, 2, 3}, {1, 2, 3}};
    EXPECT_EQ(corners, expected);
}

TEST(KernelSolid, TheSeamOfACylinderCountsOnce)
{
    const KernelSolid cylinder = KernelSolid::makeCylinder(5, 8);
    EXPECT_EQ(cylinder.faceCount(), 3);
    EXPECT_EQ(cylinder.edgeCount(), 3);
    EXPECT_EQ(cylinder.vertexCount(), 2);
    int lines = 0;
    int circles = 0;
    for (int number = 1; number <= cylinder.edgeCount(); ++number) {
        const zemhost::EdgeInfo edge = cylinder.edge(number);
        if (edge.kind == zemhost::CurveKind::kLine) {
            ++lines;
            EXPECT_NEAR(edge.lengthMm, 8, kTolerance);
        }
        if (edge.kind == zemhost::CurveKind::kCircle) {
            ++circles;
            EXPECT_NEAR(edge.lengthMm, 10 * kPi, 1e-6);
        }
    }
    EXPECT_EQ(lines, 1);
    EXPECT_EQ(circles, 2);
}

TEST(KernelSolid, KindsHaveNames)
{
    EXPECT_EQ(surfaceKindName(zemhost::SurfaceKind::kPlane), "plane");
    EXPECT_EQ(surfaceKindName(zemhost::SurfaceKind::kOther), "other");
    EXPECT_EQ(curveKindName(zemhost::CurveKind::kLine), "line");
    EXPECT_EQ(curveKindName(zemhost::CurveKind::kDegenerated), "degenerated");
    EXPECT_EQ(surfaceKindName(static_cast<zemhost::SurfaceKind>(200)), "other");
    EXPECT_EQ(curveKindName(static_cast<zemhost::CurveKind>(200)), "other");
}

TEST(KernelSolid, NumbersOutsideTheCountAreRefused)
{
    const KernelSolid box = KernelSolid::makeBox(1, 1, 1);
    const std::optional<KernelFailure> refused = KernelFailure::kBadArgument;
    for (const int number : {std::numeric_limits<int>::min(), -1, 0}) {
        EXPECT_EQ(failureOf([&] { (void)box.face(number); }), refused) << number;
        EXPECT_EQ(failureOf([&] { (void)box.edge(number); }), refused) << number;
        EXPECT_EQ(failureOf([&] { (void)box.vertex(number); }), refused) << number;
    }
    EXPECT_EQ(failureOf([&] { (void)box.face(7); }), refused);
    EXPECT_EQ(failureOf([&] { (void)box.edge(13); }), refused);
    EXPECT_EQ(failureOf([&] { (void)box.vertex(9); }), refused);
}

TEST(KernelSolid, SizesThatMakeNoSolidAreRefused)
{
    const std::optional<KernelFailure> refused = KernelFailure::kBadArgument;
    for (const double size : {0.0, -1.0, 1e-7, std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(failureOf([&] { (void)KernelSolid::makeBox(size, 1, 1); }), refused) << size;
        EXPECT_EQ(failureOf([&] { (void)KernelSolid::makeBox(1, size, 1); }), refused) << size;
        EXPECT_EQ(failureOf([&] { (void)KernelSolid::makeBox(1, 1, size); }), refused) << size;
        EXPECT_EQ(failureOf([&] { (void)KernelSolid::makeCylinder(size, 1); }), refused) << size;
        EXPECT_EQ(failureOf([&] { (void)KernelSolid::makeCylinder(1, size); }), refused) << size;
    }
}

TEST(KernelSolidBytes, BeginWithMarkVersionChecksumAndLength)
{
    const std::vector<unsigned char> bytes = KernelSolid::makeBox(1, 2, 3).toBytes();
    ASSERT_GT(bytes.size(), kHeaderBytes);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 8), "ZEMSOLID");
    const std::vector<unsigned char> version(bytes.begin() + 8, bytes.begin() + 12);
    EXPECT_EQ(version, (std::vector<unsigned char>{1, 0, 0, 0}));
    std::vector<unsigned char> repaired = bytes;
    repairChecksum(repaired);
    EXPECT_EQ(repaired, bytes);
    std::uint64_t length = 0;
    for (std::size_t index = 0; index < 8; ++index) {
        length |= std::uint64_t{bytes[16 + index]} << (8 * index);
    }
    EXPECT_EQ(length, bytes.size() - kHeaderBytes);
}

TEST(KernelSolidBytes, AreTheSameForTheSameSolidMadeTwice)
{
    EXPECT_EQ(KernelSolid::makeCylinder(5, 8).toBytes(), KernelSolid::makeCylinder(5, 8).toBytes());
    EXPECT_NE(KernelSolid::makeCylinder(5, 8).toBytes(), KernelSolid::makeCylinder(5, 9).toBytes());
}

TEST(KernelSolidBytes, GiveBackTheSameNumbersFiguresAndBytes)
{
    const KernelSolid cylinder = KernelSolid::makeCylinder(5, 8);
    const std::vector<unsigned char> bytes = cylinder.toBytes();
    const KernelSolid again = KernelSolid::fromBytes(bytes);
    EXPECT_EQ(kernel_test::describe(again), kernel_test::describe(cylinder));
    EXPECT_EQ(again.toBytes(), bytes);
}

TEST(KernelSolidBytes, AreTheSameAfterMeasuring)
{
    const KernelSolid cylinder = KernelSolid::makeCylinder(5, 8);
    const std::vector<unsigned char> before = cylinder.toBytes();
    (void)kernel_test::describe(cylinder);
    EXPECT_EQ(cylinder.toBytes(), before);
}

TEST(KernelSolidBytes, CutAtAnyLengthAreRefused)
{
    const std::vector<unsigned char> bytes = KernelSolid::makeBox(1, 2, 3).toBytes();
    const std::span<const unsigned char> all(bytes);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        ASSERT_EQ(failureOf([&] { (void)KernelSolid::fromBytes(all.first(length)); }),
                  KernelFailure::kDamagedBytes)
            << length << " of " << bytes.size() << " bytes";
    }
}

TEST(KernelSolidBytes, WithMoreBehindThemAreRefused)
{
    std::vector<unsigned char> bytes = KernelSolid::makeBox(1, 2, 3).toBytes();
    bytes.push_back(0);
    EXPECT_EQ(failureOf([&] { (void)KernelSolid::fromBytes(bytes); }),
              KernelFailure::kDamagedBytes);
}

TEST(KernelSolidBytes, WithAnySingleBitFlippedAreRefused)
{
    std::vector<unsigned char> bytes = KernelSolid::makeBox(1, 2, 3).toBytes();
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        for (int bit = 0; bit < 8; ++bit) {
            const auto mask = static_cast<unsigned char>(1 << bit);
            bytes[offset] = static_cast<unsigned char>(bytes[offset] ^ mask);
            ASSERT_EQ(failureOf([&] { (void)KernelSolid::fromBytes(bytes); }),
                      KernelFailure::kDamagedBytes)
                << "bit " << bit << " of byte " << offset;
            bytes[offset] = static_cast<unsigned char>(bytes[offset] ^ mask);
        }
    }
}

TEST(KernelSolidBytes, ForgedWithARightChecksumGiveASolidOrAnError)
{
    constexpr int kCases = 100;
    const std::vector<unsigned char> good = KernelSolid::makeCylinder(5, 8).toBytes();
    std::mt19937 random(20240611);
    zemhost::ImportOptions options;
    options.timeLimit = std::chrono::seconds(10);
    options.memoryLimitBytes = std::uint64_t{512} << 20;
    int solids = 0;
    int errors = 0;
    for (int index = 0; index < kCases; ++index) {
        std::vector<unsigned char> bytes = good;
        const std::size_t offset = kHeaderBytes + random() % (bytes.size() - kHeaderBytes);
        bytes[offset] = static_cast<unsigned char>(random());
        repairChecksum(bytes);
        try {
            const KernelSolid solid = zemhost::readUntrustedBytes(bytes, options);
            EXPECT_EQ(solid.toBytes(), bytes);
            ++solids;
        } catch (const KernelError& error) {
            EXPECT_FALSE(error.reason().empty());
            ++errors;
        }
    }
    EXPECT_EQ(solids + errors, kCases);
}

TEST(ReadUntrustedBytes, GivesTheSolidWithItsFigures)
{
    const KernelSolid cylinder = KernelSolid::makeCylinder(5, 8);
    const KernelSolid read = zemhost::readUntrustedBytes(cylinder.toBytes());
    EXPECT_EQ(kernel_test::describe(read), kernel_test::describe(cylinder));
}

TEST(ReadUntrustedBytes, RefusesDamagedBytesAsFromBytesDoes)
{
    std::vector<unsigned char> bytes = KernelSolid::makeBox(1, 2, 3).toBytes();
    bytes.back() = static_cast<unsigned char>(bytes.back() ^ 1);
    EXPECT_EQ(failureOf([&] { (void)zemhost::readUntrustedBytes(bytes); }),
              KernelFailure::kDamagedBytes);
}

TEST(KernelError, TellsFileReasonAndAdviceInOneLine)
{
    const KernelError error(KernelFailure::kEmptyFile, "a.step", "the file is empty", "try again");
    EXPECT_STREQ(error.what(), "a.step: the file is empty; try again");
    const KernelError bare(KernelFailure::kSystem, "", "no process", "");
    EXPECT_STREQ(bare.what(), "no process");
}

}  // namespace
