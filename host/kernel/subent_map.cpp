#include "kernel/subent_map.h"

#include "kernel/byte_stream_impl.h"
#include "kernel/sealed_bytes_impl.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace zemhost {

namespace {

constexpr SealedForm kMapForm = {
    {'Z', 'E', 'M', 'S', 'U', 'B', 'M', 'P'}, 1, "stored map of an edit", ""};

void checkNumber(Subent item, const SubentCounts& counts, const char* when)
{
    const int count = counts.of(item.kind);
    if (item.number < 1 || item.number > count) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          std::string(subentKindName(item.kind)) + " " +
                              std::to_string(item.number) + " of a solid that has " +
                              std::to_string(count) + " " + when + " the edit",
                          "count from 1");
    }
}

/// The graver fate of two edits decides what is told of both.
int gravity(SubentFate fate)
{
    switch (fate) {
    case SubentFate::kUnchanged:
        return 0;
    case SubentFate::kMoved:
        return 1;
    case SubentFate::kSplit:
    case SubentFate::kMerged:
        return 2;
    case SubentFate::kGone:
    case SubentFate::kAmbiguous:
        break;
    }
    return 3;
}

void sortUnique(std::vector<int>& numbers)
{
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

std::size_t slot(SubentKind kind)
{
    return static_cast<std::size_t>(kind);
}

std::size_t slot(Subent item)
{
    return static_cast<std::size_t>(item.number) - 1;
}

}  // namespace

std::string_view subentKindName(SubentKind kind)
{
    switch (kind) {
    case SubentKind::kFace:
        return "face";
    case SubentKind::kEdge:
        return "edge";
    case SubentKind::kVertex:
        break;
    }
    return "vertex";
}

std::string_view subentFateName(SubentFate fate)
{
    static constexpr std::array<std::string_view, kSubentFateCount> kNames = {
        "unchanged", "moved", "split", "merged", "gone", "ambiguous"};
    const std::size_t index = static_cast<std::size_t>(fate);
    return index < kNames.size() ? kNames[index] : "ambiguous";
}

int SubentCounts::of(SubentKind kind) const
{
    switch (kind) {
    case SubentKind::kFace:
        return faces;
    case SubentKind::kEdge:
        return edges;
    case SubentKind::kVertex:
        break;
    }
    return vertices;
}

int SubentTally::total() const
{
    return std::accumulate(byFate.begin(), byFate.end(), 0);
}

//--------------------------------------------------------------------------------------------------
// Building

SubentMap::Builder::Builder(const SubentCounts& before, const SubentCounts& after,
                            std::string cause)
{
    m_map.m_before = before;
    m_map.m_after = after;
    m_cause = addCause(cause);
    for (const SubentKind kind : kSubentKinds) {
        m_items[slot(kind)].resize(static_cast<std::size_t>(before.of(kind)), Item{{}, m_cause});
    }
}

SubentMap::Builder::Item& SubentMap::Builder::item(Subent old)
{
    checkNumber(old, m_map.m_before, "before");
    return m_items[slot(old.kind)][slot(old)];
}

void SubentMap::Builder::checkTargets(SubentKind kind, const std::vector<int>& targets) const
{
    for (const int target : targets) {
        checkNumber({kind, target}, m_map.m_after, "after");
    }
}

void SubentMap::Builder::set(Subent old, std::vector<int> targets)
{
    Item& changed = item(old);
    checkTargets(old.kind, targets);
    sortUnique(targets);
    changed.targets = std::move(targets);
    changed.isAmbiguous = false;
}

void SubentMap::Builder::setAmbiguous(Subent old, std::vector<int> candidates)
{
    if (candidates.empty()) {
        throw KernelError(KernelFailure::kBadArgument, "", "ambiguous item without candidates", "");
    }
    set(old, std::move(candidates));
    item(old).isAmbiguous = true;
}

std::uint32_t SubentMap::Builder::addCause(std::string_view cause)
{
    std::vector<std::string>& causes = m_map.m_causes;
    const auto found = std::find(causes.begin(), causes.end(), cause);
    const auto number = static_cast<std::uint32_t>(found - causes.begin());
    if (found == causes.end()) {
        causes.emplace_back(cause);
    }
    return number;
}

SubentMap SubentMap::Builder::finish()
{
    for (const SubentKind kind : kSubentKinds) {
        finishKind(kind);
        m_map.findSources(kind);
        m_map.markMerged(kind);
    }
    m_map.dropUnusedCauses();
    return std::move(m_map);
}

void SubentMap::Builder::finishKind(SubentKind kind)
{
    Table& table = m_map.table(kind);
    int number = 0;
    for (const Item& item : m_items[slot(kind)]) {
        ++number;
        Entry entry;
        entry.targets = {static_cast<std::uint32_t>(table.targets.size()),
                         static_cast<std::uint32_t>(item.targets.size())};
        entry.fate = SubentFate::kGone;
        if (item.isAmbiguous) {
            entry.fate = SubentFate::kAmbiguous;
        } else if (item.targets.size() == 1) {
            entry.fate =
                item.targets.front() == number ? SubentFate::kUnchanged : SubentFate::kMoved;
        } else if (!item.targets.empty()) {
            entry.fate = SubentFate::kSplit;
        }
        entry.cause = item.cause;
        table.targets.insert(table.targets.end(), item.targets.begin(), item.targets.end());
        table.entries.push_back(entry);
    }
}

/// Lists for each new item the old ones, which come in ascending order.
void SubentMap::findSources(SubentKind kind)
{
    Table& table = this->table(kind);
    table.sourceSlices.assign(static_cast<std::size_t>(m_after.of(kind)), Slice());
    const auto forEachPair = [&table](auto&& use) {
        for (std::size_t old = 0; old < table.entries.size(); ++old) {
            const Entry& entry = table.entries[old];
            if (entry.fate == SubentFate::kAmbiguous) {
                continue;
            }
            for (std::uint32_t at = 0; at < entry.targets.count; ++at) {
                const int target = table.targets[entry.targets.begin + at];
                use(table.sourceSlices[static_cast<std::size_t>(target) - 1],
                    static_cast<int>(old) + 1);
            }
        }
    };
    std::uint32_t total = 0;
    forEachPair([&total](Slice& slice, int) {
        ++slice.count;
        ++total;
    });
    std::uint32_t begin = 0;
    for (Slice& slice : table.sourceSlices) {
        slice.begin = begin;
        begin += slice.count;
        slice.count = 0;
    }
    table.sources.assign(total, 0);
    forEachPair([&table](Slice& slice, int old) {
        table.sources[slice.begin + slice.count] = old;
        ++slice.count;
    });
}

void SubentMap::markMerged(SubentKind kind)
{
    Table& table = this->table(kind);
    for (Entry& entry : table.entries) {
        const bool isSingle =
            entry.fate == SubentFate::kUnchanged || entry.fate == SubentFate::kMoved;
        if (isSingle) {
            const int target = table.targets[entry.targets.begin];
            const Slice& sources = table.sourceSlices[static_cast<std::size_t>(target) - 1];
            entry.fate = sources.count > 1 ? SubentFate::kMerged : entry.fate;
        }
        entry.cause = entry.fate == SubentFate::kUnchanged ? 0 : entry.cause;
    }
}

/// Equal maps have equal causes, in the order in which items name them.
void SubentMap::dropUnusedCauses()
{
    std::vector<std::string> causes = {std::string()};
    std::vector<std::uint32_t> numbers(m_causes.size(), 0);
    for (Table& table : m_tables) {
        for (Entry& entry : table.entries) {
            std::uint32_t& number = numbers[entry.cause];
            if (entry.cause != 0 && number == 0) {
                number = static_cast<std::uint32_t>(causes.size());
                causes.push_back(m_causes[entry.cause]);
            }
            entry.cause = number;
        }
    }
    m_causes = std::move(causes);
}

//--------------------------------------------------------------------------------------------------
// Asking

SubentMap SubentMap::identity(const SubentCounts& counts)
{
    Builder builder(counts, counts, "");
    for (const SubentKind kind : kSubentKinds) {
        for (int number = 1; number <= counts.of(kind); ++number) {
            builder.set({kind, number}, {number});
        }
    }
    return builder.finish();
}

SubentAnswer SubentMap::answer(Subent old) const
{
    checkNumber(old, m_before, "before");
    const Table& found = table(old.kind);
    const Entry& entry = found.entries[slot(old)];
    return {entry.fate, std::span(found.targets).subspan(entry.targets.begin, entry.targets.count),
            m_causes[entry.cause]};
}

std::span<const int> SubentMap::sources(Subent item) const
{
    checkNumber(item, m_after, "after");
    const Table& found = table(item.kind);
    const Slice& slice = found.sourceSlices[slot(item)];
    return std::span(found.sources).subspan(slice.begin, slice.count);
}

SubentTally SubentMap::tally(SubentKind kind) const
{
    SubentTally tally;
    for (const Entry& entry : table(kind).entries) {
        ++tally.byFate[static_cast<std::size_t>(entry.fate)];
    }
    for (const Slice& slice : table(kind).sourceSlices) {
        tally.born += slice.count == 0 ? 1 : 0;
    }
    return tally;
}

SubentMap SubentMap::then(const SubentMap& next) const
{
    if (m_after != next.m_before) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          "the second edit begins with another solid than the first left", "");
    }
    Builder builder(m_before, next.m_after, "");
    for (const SubentKind kind : kSubentKinds) {
        for (int number = 1; number <= m_before.of(kind); ++number) {
            builder.setJoined({kind, number}, answer({kind, number}), next);
        }
    }
    return builder.finish();
}

void SubentMap::Builder::setJoined(Subent old, const SubentAnswer& first, const SubentMap& next)
{
    Item& joined = item(old);
    int worst = gravity(first.fate);
    std::string_view cause = first.cause;
    joined.isAmbiguous = first.fate == SubentFate::kAmbiguous;
    for (const int number : first.targets) {
        const SubentAnswer second = next.answer({old.kind, number});
        joined.targets.insert(joined.targets.end(), second.targets.begin(), second.targets.end());
        joined.isAmbiguous = joined.isAmbiguous || second.fate == SubentFate::kAmbiguous;
        if (gravity(second.fate) >= worst && second.fate != SubentFate::kUnchanged) {
            worst = gravity(second.fate);
            cause = second.cause;
        }
    }
    sortUnique(joined.targets);
    joined.isAmbiguous = joined.isAmbiguous && !joined.targets.empty();
    joined.cause = addCause(cause);
}

//--------------------------------------------------------------------------------------------------
// Bytes

std::vector<unsigned char> SubentMap::toBytes() const
{
    ByteWriter writer;
    writer.putUint64(m_causes.size());
    for (const std::string& cause : m_causes) {
        writer.putText(cause);
    }
    for (const SubentKind kind : kSubentKinds) {
        const Table& stored = table(kind);
        writer.putUint64(stored.entries.size());
        writer.putUint64(stored.sourceSlices.size());
        for (const Entry& entry : stored.entries) {
            writer.putByte(entry.fate == SubentFate::kAmbiguous ? 1 : 0);
            writer.putUint32(entry.cause);
            writer.putUint32(entry.targets.count);
            for (std::uint32_t at = 0; at < entry.targets.count; ++at) {
                writer.putUint32(
                    static_cast<std::uint32_t>(stored.targets[entry.targets.begin + at]));
            }
        }
    }
    return sealBytes(kMapForm, writer.bytes());
}

namespace {

constexpr std::size_t kLeastEntryBytes = 1 + 2 * sizeof(std::uint32_t);

/// An edit can't make more items than this of what a map knows; it bounds what a forged count costs.
constexpr std::uint64_t kMostItems = 100'000'000;

std::vector<int> readTargets(ByteReader& reader, int count)
{
    const std::uint32_t size = reader.getUint32();
    if (size > reader.bytesLeft() / sizeof(std::uint32_t)) {
        throwDamaged(kMapForm, "list of " + std::to_string(size) + " items, room for " +
                                   std::to_string(reader.bytesLeft() / sizeof(std::uint32_t)));
    }
    std::vector<int> targets;
    for (std::uint32_t at = 0; at < size; ++at) {
        const std::uint32_t target = reader.getUint32();
        if (target == 0 || target > static_cast<std::uint32_t>(count)) {
            throwDamaged(kMapForm,
                         "item " + std::to_string(target) + " of " + std::to_string(count));
        }
        targets.push_back(static_cast<int>(target));
    }
    return targets;
}

}  // namespace

SubentMap SubentMap::fromBytes(std::span<const unsigned char> bytes)
{
    ByteReader reader(unsealBytes(kMapForm, bytes));
    Builder builder(SubentCounts(), SubentCounts(), "");
    std::vector<std::uint32_t> causes(reader.getCount(sizeof(std::uint64_t)));
    for (std::uint32_t& cause : causes) {
        cause = builder.addCause(reader.getText());
    }
    for (const SubentKind kind : kSubentKinds) {
        builder.readKind(kind, reader, causes);
    }
    if (reader.bytesLeft() != 0) {
        throwDamaged(kMapForm, std::to_string(reader.bytesLeft()) + " bytes too many");
    }
    return builder.finish();
}

void SubentMap::Builder::readKind(SubentKind kind, ByteReader& reader,
                                  std::span<const std::uint32_t> causes)
{
    const std::size_t before = reader.getUint64();
    const std::size_t after = reader.getUint64();
    if (before > reader.bytesLeft() / kLeastEntryBytes || after > kMostItems) {
        throwDamaged(kMapForm, "more items than the bytes hold");
    }
    setCounts(kind, static_cast<int>(before), static_cast<int>(after));
    for (Item& item : m_items[slot(kind)]) {
        item.isAmbiguous = reader.getByte() != 0;
        const std::uint32_t cause = reader.getUint32();
        if (cause >= causes.size()) {
            throwDamaged(kMapForm,
                         "cause " + std::to_string(cause) + " of " + std::to_string(causes.size()));
        }
        item.cause = causes[cause];
        item.targets = readTargets(reader, static_cast<int>(after));
        sortUnique(item.targets);
        if (item.isAmbiguous && item.targets.empty()) {
            throwDamaged(kMapForm, "ambiguous item without candidates");
        }
    }
}

void SubentMap::Builder::setCounts(SubentKind kind, int before, int after)
{
    const auto countOf = [kind](SubentCounts& counts) -> int& {
        if (kind == SubentKind::kFace) {
            return counts.faces;
        }
        return kind == SubentKind::kEdge ? counts.edges : counts.vertices;
    };
    countOf(m_map.m_before) = before;
    countOf(m_map.m_after) = after;
    m_items[slot(kind)].assign(static_cast<std::size_t>(before), Item());
}

}  // namespace zemhost
