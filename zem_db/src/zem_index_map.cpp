#include "zem_index_map.h"

#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_database_utils.h"

#include <algorithm>
#include <array>
#include <utility>

namespace zemu {

bool less_SubentId::operator()(OdDbSubentId const& left, OdDbSubentId const& right) const
{
    return compareSubentId(left, right) < 0;
}

}  // namespace zemu

namespace {

/// Numbers that are made room for in advance; more is made as numbers are really read.
constexpr std::uint32_t kMaxReserved = 4096;

/// Least bytes that a filer takes for an entry: one for each of its three fields.
constexpr std::uint32_t kMinEntryBytes = 3;

constexpr std::uint8_t kFirstLetter = 'c';
/// Types by letter, from c to v; letters without a type stand for none.
constexpr std::array<std::int32_t, 'v' - kFirstLetter + 1> kTypeOfLetter = [] {
    std::array<std::int32_t, 'v' - kFirstLetter + 1> types{};
    types['c' - kFirstLetter] = 5;
    types['e' - kFirstLetter] = 2;
    types['f' - kFirstLetter] = 1;
    types['l' - kFirstLetter] = 4;
    types['v' - kFirstLetter] = 3;
    return types;
}();

std::uint8_t letterOf(OdDb::SubentType type)
{
    switch (type) {
    case OdDb::SubentType::kFaceSubentType:
        return 'f';
    case OdDb::SubentType::kEdgeSubentType:
        return 'e';
    case OdDb::SubentType::kVertexSubentType:
        return 'v';
    default:
        return 'b';
    }
}

OdDb::SubentType typeOf(std::uint8_t letter)
{
    const unsigned at = static_cast<unsigned>(letter) - kFirstLetter;
    return static_cast<OdDb::SubentType>(at < kTypeOfLetter.size() ? kTypeOfLetter[at] : 0);
}

std::vector<int> readNumbers(OdDbDwgFiler& filer)
{
    const std::int32_t count = filer.rdInt32();
    if (count < 1) {
        return {};
    }
    if (static_cast<std::uint64_t>(count) > filer.bytesLeft()) {
        throw OdError(kOdBadStream);
    }
    std::vector<int> numbers;
    numbers.reserve(std::min(static_cast<std::uint32_t>(count), kMaxReserved));
    for (std::int32_t i = 0; i < count; ++i) {
        numbers.push_back(filer.rdInt32());
    }
    return numbers;
}

}  // namespace

int ZemIndexMap::getIdx(OdDbFullSubentPath const& path) const
{
    const auto entry = m_entries.find(path.subentId());
    return entry == m_entries.end() || entry->second.empty() ? 0 : entry->second.front();
}

void ZemIndexMap::swap(ZemIndexMap& other) noexcept
{
    m_entries.swap(other.m_entries);
    std::swap(m_value, other.m_value);
}

void ZemIndexMap::dwgOutFields(OdDbDwgFiler* filer) const
{
    filer->wrInt32(static_cast<std::int32_t>(m_entries.size()));
    for (auto const& [id, numbers] : m_entries) {
        filer->wrUInt8(letterOf(id.type()));
        filer->wrInt32(static_cast<std::int32_t>(static_cast<std::uint64_t>(id.index()) - 1));
        filer->wrInt32(static_cast<std::int32_t>(numbers.size()));
        for (int number : numbers) {
            filer->wrInt32(number);
        }
    }
}

void ZemIndexMap::dwgInFields(OdDbDwgFiler* filer)
{
    Entries entries;
    const std::uint32_t count = odDbReadCount(*filer, kMinEntryBytes);
    for (std::uint32_t i = 0; i < count; ++i) {
        const OdDb::SubentType type = typeOf(filer->rdUInt8());
        const std::int64_t index = std::int64_t{filer->rdInt32()} + 1;
        std::vector<int> numbers = readNumbers(*filer);
        if (!numbers.empty()) {
            entries[OdDbSubentId(type, index)] = std::move(numbers);
        }
    }
    m_entries.swap(entries);
}
