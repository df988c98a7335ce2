#include "db/od_db_id_table_impl.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr std::uint64_t kPerBlock = OdDbStorageAccess::kHandlesInBlock;
/// Slack of the dense vector: numbers up to this much above twice the count stay in it.
constexpr std::uint64_t kDenseSlack = 1024;
/// Blocks of the largest slabs. The first slab has one; each has twice as many as the one before.
constexpr std::size_t kLargestSlab = 64;

}  // namespace

OdDbIdBlock* OdDbIdTable::findBlock(std::uint64_t number) const noexcept
{
    if (number < m_dense.size() && m_dense[number] != nullptr) {
        return m_dense[number];
    }
    if (m_sparse.empty()) {
        return nullptr;
    }
    const auto found = m_sparse.find(number);
    return found != m_sparse.end() ? found->second : nullptr;
}

std::uint64_t OdDbIdTable::nextBlock(std::uint64_t after) const noexcept
{
    const auto next = m_sparse.upper_bound(after);
    const std::uint64_t sparse =
        next != m_sparse.end() ? next->first : (std::uint64_t{1} << 62) / kPerBlock;
    // A block that was far when it was made may lie in front of what is near by now.
    const std::uint64_t end = std::min<std::uint64_t>(m_dense.size(), sparse);
    for (std::uint64_t number = after + 1; number < end; ++number) {
        if (m_dense[number] != nullptr) {
            return number;
        }
    }
    return sparse;
}

OdDbIdRecord* OdDbIdTable::find(std::uint64_t handle) const noexcept
{
    OdDbIdBlock* block = findBlock(handle / kPerBlock);
    return block != nullptr ? &block->records[handle % kPerBlock] : nullptr;
}

OdDbIdRecord& OdDbIdTable::get(std::uint64_t handle)
{
    OdDbIdBlock* block = findBlock(handle / kPerBlock);
    if (block == nullptr) {
        block = &makeBlock(handle / kPerBlock);
    }
    return block->records[handle % kPerBlock];
}

bool OdDbIdTable::owns(OdDbIdRecord const* record) const noexcept
{
    const auto address = reinterpret_cast<std::uintptr_t>(record);
    const auto next = m_slabEnds.upper_bound(address);
    return next != m_slabEnds.begin() && address < std::prev(next)->second;
}

OdDbIdBlock& OdDbIdTable::freshBlock()
{
    if (m_slabUsed == m_slabSize) {
        const std::size_t size = std::clamp<std::size_t>(m_slabSize * 2, 1, kLargestSlab);
        m_slabs.push_back(std::make_unique<OdDbIdBlock[]>(size));
        const auto start = reinterpret_cast<std::uintptr_t>(m_slabs.back().get());
        m_slabEnds.emplace(start, start + size * sizeof(OdDbIdBlock));
        m_slabSize = size;
        m_slabUsed = 0;
    }
    return m_slabs.back()[m_slabUsed++];
}

OdDbIdBlock& OdDbIdTable::makeBlock(std::uint64_t number)
{
    OdDbIdBlock& block = freshBlock();
    block.database = &m_database;
    block.number = number;
    for (std::size_t slot = 0; slot < kPerBlock; ++slot) {
        block.records[slot].slot = static_cast<std::uint8_t>(slot);
    }
    if (number < 2 * m_count + kDenseSlack) {
        if (number >= m_dense.size()) {
            m_dense.resize(std::max<std::size_t>(number + 1, m_dense.size() * 3 / 2));
        }
        m_dense[number] = &block;
    } else {
        m_sparse.emplace(number, &block);
    }
    ++m_count;
    return block;
}

void OdDbIdTable::markChanged(OdDbIdRecord& record)
{
    if (m_isSaving) {
        m_changedInSave.insert(&record);
    }
    if (record.has(OdDbIdRecord::kChanged)) {
        return;
    }
    record.set(OdDbIdRecord::kChanged, true);
    OdDbIdBlock& block = OdDbIdBlock::of(record);
    if (!block.changed) {
        block.changed = true;
        m_changedBlocks.push_back(&block);
    }
}

void OdDbIdTable::clearChanged()
{
    for (OdDbIdBlock* block : m_changedBlocks) {
        block->changed = false;
        for (OdDbIdRecord& record : block->records) {
            record.set(OdDbIdRecord::kChanged, false);
            record.set(OdDbIdRecord::kNew, false);
        }
    }
    m_changedBlocks.clear();
    const std::set<OdDbIdRecord*> changedInSave = std::exchange(m_changedInSave, {});
    for (OdDbIdRecord* record : changedInSave) {
        markChanged(*record);
    }
}

void OdDbIdTable::beginSaving()
{
    m_changedInSave.clear();
    m_isSaving = true;
}

void OdDbIdTable::endSaving() noexcept
{
    m_isSaving = false;
    m_changedInSave.clear();
}

std::vector<std::uint64_t> OdDbIdTable::changedBlocks() const
{
    std::vector<std::uint64_t> numbers;
    numbers.reserve(m_changedBlocks.size());
    for (OdDbIdBlock const* block : m_changedBlocks) {
        numbers.push_back(block->number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::vector<std::uint64_t> OdDbIdTable::knownBlocks() const
{
    std::vector<std::uint64_t> numbers;
    numbers.reserve(m_count);
    for (OdDbIdBlock const* block : m_dense) {
        if (block != nullptr) {
            numbers.push_back(block->number);
        }
    }
    for (auto const& [number, block] : m_sparse) {
        numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}
