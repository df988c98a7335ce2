// What the objects of the document benchmarks hold, the same on both sides.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace bench {

/// Values of one object; its reference goes to the object with number `reference`.
struct ObjectContent
{
    std::string name;  ///< 12 characters
    std::int32_t integer;
    double real;
    std::array<double, 8> reals;
    std::size_t reference;
};

/// The real of object `index` alone, for loops that check sums.
inline double realOf(std::size_t index)
{
    return static_cast<double>(index) * 0.25 + 1.0;
}

/// Content of object `index`, 0 to `count` - 1; the reference looks random and never changes.
inline ObjectContent contentOf(std::size_t index, std::size_t count)
{
    constexpr std::uint64_t kSpread = 2654435761;
    constexpr std::uint64_t kShift = 12345;
    ObjectContent content{};
    std::string digits = std::to_string(index);
    digits.insert(0, digits.size() < 8 ? 8 - digits.size() : 0, '0');
    content.name = "obj_" + digits;
    content.integer = static_cast<std::int32_t>(index);
    content.real = realOf(index);
    for (std::size_t at = 0; at < content.reals.size(); ++at) {
        content.reals[at] = static_cast<double>(index) + static_cast<double>(at + 1) * 0.125;
    }
    content.reference = static_cast<std::size_t>((index * kSpread + kShift) % count);
    return content;
}

/// `howMany` object numbers below `count`, the same in every run.
inline std::vector<std::size_t> randomIndices(std::size_t howMany, std::size_t count)
{
    constexpr std::uint32_t kSeed = 7;
    std::mt19937 random(kSeed);
    std::vector<std::size_t> indices(howMany);
    for (std::size_t& index : indices) {
        index = random() % count;
    }
    return indices;
}

}  // namespace bench
