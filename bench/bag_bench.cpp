// Flattening and reading property bags, beside a raw copy of the same bytes.
//
// Four bags: a small one as an object of a drawing has, the same bound to members, one of 1000
// entries of all scalar types, and one of long arrays. Flattening takes a bag to the bytes in a
// flat stream, reading takes them to an empty bag. The copy is a memcpy between two buffers that
// are warm. Blocks are counted at malloc, so every allocation of every library is seen.

#include "db/od_db_platform.h"

#include "bench_util.h"
#include "zem_flat_filer.h"
#include "zem_properties.h"

#include <time.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#if !defined(__SANITIZE_ADDRESS__)
extern "C" void* __libc_malloc(std::size_t size);

namespace {
std::atomic<std::uint64_t> g_blocks{0};
}

extern "C" void* malloc(std::size_t size) noexcept
{
    g_blocks.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
#else
namespace {
std::atomic<std::uint64_t> g_blocks{0};
}
#endif

namespace {

/// Processor time of this thread: what other programs take meanwhile doesn't count.
double processorSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Median seconds that one call takes.
double secondsPerCall(bench::BenchOptions const& options, std::function<void()> const& call)
{
    const double sampleSeconds = options.isBrief ? 0.002 : 0.05;
    std::size_t calls = 1;
    std::vector<double> samples;
    while (samples.size() < (options.isBrief ? 3U : 9U)) {
        const double start = processorSeconds();
        for (std::size_t i = 0; i < calls; ++i) {
            call();
        }
        const double seconds = processorSeconds() - start;
        if (seconds < sampleSeconds) {
            calls *= 2;
            continue;
        }
        samples.push_back(seconds / static_cast<double>(calls));
    }
    return bench::median(std::move(samples));
}

double blocksPerCall(std::function<void()> const& call)
{
    call();
    const std::uint64_t before = g_blocks.load();
    call();
    return static_cast<double>(g_blocks.load() - before);
}

/// A bag, and whatever members it is bound to.
struct Content
{
    virtual ~Content() = default;
    ZemProperties bag{0};
};

ZemPropertyArray<double> reals(std::uint32_t count)
{
    ZemPropertyArray<double> result;
    result.resize(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        result[i] = 0.25 * (i + 1);
    }
    return result;
}

std::unique_ptr<Content> makeSmall()
{
    auto content = std::make_unique<Content>();
    content->bag.setProperty(L"Name", OdString(L"abcdefghijkl"));
    content->bag.setProperty(L"Number", 42);
    content->bag.setProperty(L"Real", 1.5);
    content->bag.setProperty(L"Reals", reals(8));
    content->bag.setProperty(L"Reference", OdDbHandle(0x1234));
    return content;
}

struct BoundContent : Content
{
    BoundContent()
    {
        bag.mapProperty(L"Name", &name);
        bag.mapProperty(L"Number", &number);
        bag.mapProperty(L"Real", &real);
        bag.mapProperty(L"Reals", &array);
        bag.mapProperty(L"Reference", &reference, OdDb::ReferenceType::kSoftPointerRef);
    }

    OdString name{L"abcdefghijkl"};
    int number = 42;
    double real = 1.5;
    ZemPropertyArray<double> array = reals(8);
    OdDbObjectId reference;
};

std::unique_ptr<Content> makeWide()
{
    auto content = std::make_unique<Content>();
    for (int i = 0; i < 1000; ++i) {
        OdString name;
        name.format(L"Property%04d", i);
        switch (i % 5) {
        case 0:
            content->bag.setProperty(name, i);
            break;
        case 1:
            content->bag.setProperty(name, 0.5 * i);
            break;
        case 2:
            content->bag.setProperty(name, OdString(L"a text of some length"));
            break;
        case 3:
            content->bag.setProperty(name, OdDbHandle(0x1234));
            break;
        default:
            content->bag.setProperty(name, i % 2 == 0);
        }
    }
    return content;
}

std::unique_ptr<Content> makeArrays()
{
    auto content = std::make_unique<Content>();
    ZemPropertyArray<int> numbers;
    numbers.resize(100'000);
    content->bag.setProperty(L"Blob", std::vector<char>(1'000'000, 'x'));
    content->bag.setProperty(L"Numbers", numbers);
    content->bag.setProperty(L"Reals", reals(100'000));
    return content;
}

void require(bool condition, char const* what)
{
    if (!condition) {
        std::fprintf(stderr, "%s is wrong\n", what);
        std::exit(2);
    }
}

std::vector<char> flatten(ZemProperties const& bag)
{
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.clear();
    bag.dwgOutFields(&filer);
    return filer.getBinaryData();
}

void measure(bench::ComparisonReport& report, bench::BenchOptions const& options, char const* what,
             std::function<std::unique_ptr<Content>()> const& make)
{
    const std::unique_ptr<Content> source = make();
    const std::vector<char> data = flatten(source->bag);
    const auto flattenOnce = [&] {
        OdStaticRxObject<ZemFlatFiler> filer;
        filer.clear();
        source->bag.dwgOutFields(&filer);
    };
    const std::unique_ptr<Content> target = make();
    const auto readOnce = [&] {
        OdStaticRxObject<ZemFlatFiler> filer;
        filer.setBinaryData(data.data(), static_cast<unsigned>(data.size()));
        require(target->bag.dwgInFields(&filer) == kOdOk, what);
    };
    std::vector<char> copy(data.size());
    const auto copyOnce = [&] {
        std::memcpy(copy.data(), data.data(), data.size());
        // Keeps the compiler from dropping a copy that nobody reads.
        asm volatile("" : : "r"(copy.data()) : "memory");
    };
    readOnce();
    require(flatten(target->bag) == data, what);

    const double megabytes = static_cast<double>(data.size()) / 1e6;
    const auto entries = static_cast<double>(std::distance(source->bag.begin(), source->bag.end()));
    const double copySpeed = megabytes / secondsPerCall(options, copyOnce);
    const double flattenSeconds = secondsPerCall(options, flattenOnce);
    const double readSeconds = secondsPerCall(options, readOnce);
    char size[64];
    std::snprintf(size, sizeof size, " of %.0f entries, %zu bytes: ", entries, data.size());
    const std::string prefix = what + std::string(size);
    report.add({prefix + "flatten", "MB/s", megabytes / flattenSeconds, copySpeed});
    report.add({prefix + "read", "MB/s", megabytes / readSeconds, copySpeed});
    report.add({prefix + "flatten an entry", "ns", 1e9 * flattenSeconds / entries,
                1e9 * megabytes / copySpeed / entries});
    report.add({prefix + "read an entry", "ns", 1e9 * readSeconds / entries,
                1e9 * megabytes / copySpeed / entries});
    report.add(
        {prefix + "blocks to flatten an entry", "", blocksPerCall(flattenOnce) / entries, 0});
    report.add({prefix + "blocks to read an entry", "", blocksPerCall(readOnce) / entries, 0});
}

}  // namespace

int main(int argc, char** argv)
{
    const bench::BenchOptions options = bench::parseBenchOptions(argc, argv);
    const OdDbPlatform platform;
    bench::ComparisonReport report("property bags, flattened and read", "raw copy");
    measure(report, options, "small bag", makeSmall);
    measure(report, options, "bound bag", [] { return std::make_unique<BoundContent>(); });
    measure(report, options, "wide bag", makeWide);
    measure(report, options, "bag of arrays", makeArrays);
    bench::finishReport(report, options);
    return 0;
}
