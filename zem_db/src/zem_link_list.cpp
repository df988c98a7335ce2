#include "zem_link_list.h"

#include "zem_database_utils.h"
#include "zem_db_object_dependency.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <iterator>
#include <unordered_set>
#include <utility>

namespace {

/// Of what nobody tells about: links without a path or of another owner, and ids that can't be opened.
/// They are looked at each time.
constexpr std::uint32_t kUnlinkedHash = 0;

std::uint64_t mix(std::uint64_t state, std::uint64_t value)
{
    state = (state ^ value) * 0x9E3779B97F4A7C15u;
    return state ^ (state >> 32);
}

// Links are mostly made, and walked, in order of handles and of the numbers of parts. Neighbours in that
// order have neighbouring hashes, so that a table is filled from front to back and not at random.

std::uint32_t finish(std::uint64_t state, OdDbSubentId const& subent)
{
    state = mix(state, static_cast<std::uint64_t>(subent.type()));
    const auto hash =
        static_cast<std::uint32_t>((state >> 16) + static_cast<std::uint64_t>(subent.index()));
    return hash != kUnlinkedHash ? hash : 1;
}

/// The handle of what an id denotes now.
std::uint64_t handleOf(OdDbObjectId id)
{
    if (OdDbObjectId::hasRedirections()) {
        id.convertToRedirectedId();
    }
    return id.getHandle().value();
}

std::uint32_t hashOfId(OdDbObjectId id)
{
    constexpr unsigned kHalf = 32;
    const std::uint64_t handle = handleOf(id);
    return static_cast<std::uint32_t>(handle + (handle >> kHalf) * 0x9E3779B1u);
}

// Handles alone tell a path: a step in an external drawing is known by nothing else. So a link needn't
// be resolved to be entered, and its entry holds good when external drawings come and go.

std::uint32_t hashOfLink(ZemDbObjectDependency const& link)
{
    ZemCompoundObjectId const& chain = link.compoundId();
    if (chain.size() == 0) {
        return kUnlinkedHash;
    }
    // Steps have the handles of their ids, until those are redirected.
    const OdDbObjectIdArray redirected =
        OdDbObjectId::hasRedirections() ? chain.getPathPrefix() : OdDbObjectIdArray();
    std::uint64_t state = chain.size();
    for (unsigned at = 0; at < chain.size(); ++at) {
        state = mix(state, at < redirected.size() ? handleOf(redirected[at])
                                                  : chain.getHandle(at).value());
    }
    return finish(state, link.subentId());
}

bool leadsAlong(OdDbObjectId id, OdDbFullSubentPath const& path)
{
    const auto link = ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead).get());
    OdDbFullSubentPath own;
    return !link.isNull() && link->getLinkObject(own, true) != kOdUnresolvedPath && own == path;
}

}  // namespace

std::uint32_t hashOfPath(OdDbFullSubentPath const& path)
{
    if (path.objectIds().isEmpty()) {
        return kUnlinkedHash;
    }
    std::uint64_t state = path.objectIds().size();
    for (OdDbObjectId id : path.objectIds()) {
        state = mix(state, handleOf(id));
    }
    return finish(state, path.subentId());
}

//--------------------------------------------------------------------------------------------------
// ZemPositionTable

void ZemPositionTable::clear() noexcept
{
    m_heads = std::vector<std::uint32_t>();
    m_entries = std::vector<Entry>();
}

void ZemPositionTable::build(std::size_t expectedCount)
{
    m_entries.clear();
    // Room to grow by a quarter: most tables are made before a few entries are added.
    const std::size_t capacity = expectedCount + expectedCount / 4;
    m_entries.reserve(capacity);
    chainAll(std::bit_ceil(std::max<std::size_t>(capacity, 16)));
}

void ZemPositionTable::insert(std::uint32_t hash, std::uint32_t position)
{
    if (m_entries.size() >= m_heads.size()) {
        chainAll(2 * m_heads.size());
    }
    std::uint32_t& head = m_heads[bucketOf(hash)];
    m_entries.push_back({hash, position, head});
    head = static_cast<std::uint32_t>(m_entries.size() - 1);
}

void ZemPositionTable::renumber(std::vector<std::uint32_t> const& newPositions)
{
    for (Entry& entry : m_entries) {
        entry.position =
            entry.position < newPositions.size() ? newPositions[entry.position] : kNone;
    }
    std::erase_if(m_entries, [](Entry const& entry) { return entry.position == kNone; });
    chainAll(m_heads.size());
}

std::vector<std::uint32_t> ZemPositionTable::positionsWithCompany() const
{
    std::vector<std::uint32_t> result;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> bucket;  // hash and position
    for (std::uint32_t head : m_heads) {
        if (head == kNone || m_entries[head].next == kNone) {
            continue;
        }
        bucket.clear();
        for (std::uint32_t at = head; at != kNone; at = m_entries[at].next) {
            bucket.emplace_back(m_entries[at].hash, m_entries[at].position);
        }
        std::sort(bucket.begin(), bucket.end());
        for (auto first = bucket.begin(); first != bucket.end();) {
            const auto last = std::find_if(first, bucket.end(), [&](auto const& entry) {
                return entry.first != first->first;
            });
            if (first->second != std::prev(last)->second) {
                std::transform(first, last, std::back_inserter(result),
                               [](auto const& entry) { return entry.second; });
            }
            first = last;
        }
    }
    return result;
}

void ZemPositionTable::chainAll(std::size_t bucketCount)
{
    m_heads.assign(bucketCount, kNone);
    for (std::uint32_t at = 0; at < m_entries.size(); ++at) {
        std::uint32_t& head = m_heads[bucketOf(m_entries[at].hash)];
        m_entries[at].next = std::exchange(head, at);
    }
}

//--------------------------------------------------------------------------------------------------
// ZemLinkList

OdDbObjectIdArray const& ZemLinkList::ids() const
{
    sync();
    closeGaps();
    return m_ids;
}

OdDbObjectIdArray* ZemLinkList::variable()
{
    return &m_ids;
}

std::uint32_t ZemLinkList::size() const
{
    sync();
    return m_ids.size() - m_goneCount;
}

bool ZemLinkList::contains(OdDbObjectId id) const
{
    needIds();
    return m_byId.any(hashOfId(id), [&](std::uint32_t position) {
        return std::as_const(m_ids)[position] == id && !isGone(position);
    });
}

OdDbObjectIdArray ZemLinkList::findByPath(OdDbFullSubentPath const& path, OdDbObjectId owner) const
{
    needPaths(owner);
    std::vector<std::uint32_t> found;
    const auto collect = [&](std::uint32_t position) { found.push_back(position); };
    const std::uint32_t hash = hashOfPath(path);
    m_byPath.visit(hash, collect);
    if (hash != kUnlinkedHash) {
        m_byPath.visit(kUnlinkedHash, collect);
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    OdDbObjectIdArray candidates;
    for (std::uint32_t position : found) {
        if (!isGone(position)) {
            candidates.append(std::as_const(m_ids)[position]);
        }
    }
    // From here on positions don't hold good: following a link may load a drawing, and who hears of
    // that may look at the list or change it.
    OdDbObjectIdArray result;
    for (OdDbObjectId id : std::as_const(candidates)) {
        if (leadsAlong(id, path)) {
            result.append(id);
        }
    }
    return result;
}

OdDbObjectIdArray ZemLinkList::withCompany(OdDbObjectId owner) const
{
    needPaths(owner);
    closeGaps();
    std::vector<std::uint32_t> places = m_byPath.positionsWithCompany();
    std::vector<std::uint32_t> unlinked;
    m_byPath.visit(kUnlinkedHash, [&](std::uint32_t position) { unlinked.push_back(position); });
    std::vector<std::uint32_t> hashes;
    for (std::uint32_t position : unlinked) {
        const auto link = ZemDbObjectDependency::cast(
            std::as_const(m_ids)[position].openObject(OdDb::kForRead).get());
        if (!link.isNull()) {
            places.push_back(position);
            hashes.push_back(hashOfLink(*link));
        }
    }
    // Each hash once: many links may lead the same way. Those that lead nowhere are all here already.
    std::sort(hashes.begin(), hashes.end());
    hashes.erase(std::unique(hashes.begin(), hashes.end()), hashes.end());
    for (std::uint32_t hash : hashes) {
        if (hash != kUnlinkedHash) {
            m_byPath.visit(hash, [&](std::uint32_t at) { places.push_back(at); });
        }
    }
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    OdDbObjectIdArray result;
    result.reserve(static_cast<std::uint32_t>(places.size()));
    for (std::uint32_t position : places) {
        result.append(std::as_const(m_ids)[position]);
    }
    return result;
}

void ZemLinkList::append(OdDbObjectId id)
{
    sync();
    m_seen = OdDbObjectIdArray();  // or the array would be copied
    const std::uint32_t position = m_ids.append(id);
    remember();
    if (m_byId.isBuilt()) {
        m_byId.insert(hashOfId(id), position);
    }
    enterIfReadable(position);
}

void ZemLinkList::append(OdDbObjectIdArray const& ids)
{
    const OdDbObjectIdArray added = ids;  // may be this very list
    for (OdDbObjectId id : added) {
        append(id);
    }
}

OdDbObjectIdArray ZemLinkList::remove(OdDbObjectIdArray const& ids)
{
    sync();  // gaps belong to the array as it is, also where there is nothing to remove
    std::vector<std::uint32_t> places;
    // Ids whose places, many of them perhaps, needn't be looked through again.
    std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> goneFromSeveral;
    for (OdDbObjectId id : ids) {
        if (goneFromSeveral.count(id) != 0) {
            continue;
        }
        const std::vector<std::uint32_t> positions = positionsOf(id);
        for (std::uint32_t position : positions) {
            m_gone.resize(m_ids.size());
            m_gone[position] = true;
            ++m_goneCount;
            places.push_back(position);
        }
        if (positions.size() > 1) {
            goneFromSeveral.insert(id);
        }
    }
    remember();
    std::sort(places.begin(), places.end(), std::greater<>());
    OdDbObjectIdArray removed;
    for (std::uint32_t position : places) {
        removed.append(std::as_const(m_ids)[position]);
    }
    if (m_goneCount > m_ids.size() / 2) {
        closeGaps();
    }
    return removed;
}

void ZemLinkList::clear()
{
    m_ids = OdDbObjectIdArray();
    forget();
}

void ZemLinkList::exchange(OdDbObjectIdArray& other)
{
    sync();
    closeGaps();
    m_ids.swap(other);
    forget();
}

void ZemLinkList::forget() const
{
    m_gone = std::vector<bool>();
    m_goneCount = 0;
    dropTables();
}

void ZemLinkList::dropTables() const
{
    m_byId.clear();
    m_byPath.clear();
    remember();
}

void ZemLinkList::linkChanged(OdDbObjectId id) const
{
    sync();
    if (!m_byPath.isBuilt()) {
        return;
    }
    // Old entries stay and lead to nothing; when there are as many of them as links, a new table is
    // cheaper than going on.
    if (m_byPath.size() > 2 * std::size_t{m_ids.size()} + 64) {
        m_byPath.clear();
        return;
    }
    for (std::uint32_t position : positionsOf(id)) {
        enterIfReadable(position);
    }
}

/// Whether there are tables or gaps, which belong to the array as it was last seen.
bool ZemLinkList::hasAnythingBeside() const noexcept
{
    return m_goneCount != 0 || m_byId.isBuilt() || m_byPath.isBuilt();
}

/// Notices a change that somebody who has got hold of the bag made without a word, and ids that
/// denote something else by now.
void ZemLinkList::sync() const
{
    if (!hasAnythingBeside()) {
        return;
    }
    if (std::as_const(m_ids).asArrayPtr() != std::as_const(m_seen).asArrayPtr() ||
        m_ids.size() != m_seen.size()) {
        forget();
    } else if (m_redirections != OdDbObjectId::redirectionRevision()) {
        dropTables();
    }
}

void ZemLinkList::remember() const
{
    m_seen = hasAnythingBeside() ? m_ids : OdDbObjectIdArray();
    m_redirections = OdDbObjectId::redirectionRevision();
}

void ZemLinkList::closeGaps() const
{
    if (m_goneCount == 0) {
        return;
    }
    std::vector<std::uint32_t> newPositions(m_ids.size(), ZemPositionTable::kNone);
    m_seen = OdDbObjectIdArray();  // or the array would be copied
    OdDbObjectId* const data = m_ids.asArrayPtr();
    std::uint32_t to = 0;
    for (std::uint32_t from = 0; from < m_ids.size(); ++from) {
        if (!isGone(from)) {
            data[to] = data[from];
            newPositions[from] = to++;
        }
    }
    m_ids.resize(to);
    m_byId.renumber(newPositions);
    m_byPath.renumber(newPositions);
    m_gone = std::vector<bool>();
    m_goneCount = 0;
    remember();
}

void ZemLinkList::needIds() const
{
    sync();
    if (m_byId.isBuilt()) {
        return;
    }
    m_byId.build(m_ids.size());
    for (std::uint32_t position = 0; position < m_ids.size(); ++position) {
        m_byId.insert(hashOfId(std::as_const(m_ids)[position]), position);
    }
    remember();
}

void ZemLinkList::needPaths(OdDbObjectId owner) const
{
    sync();
    m_owner = owner;
    const std::uint64_t revision = ZemDbObjectDependency::rereadRevision();
    if (m_byPath.isBuilt() && m_pathRevision == revision) {
        return;
    }
    m_byPath.build(m_ids.size());
    try {
        for (std::uint32_t position = 0; position < m_ids.size(); ++position) {
            enterPath(position);
        }
    } catch (...) {
        m_byPath.clear();  // one that lacks links would be taken for a whole one
        throw;
    }
    m_pathRevision = revision;
    remember();
}

void ZemLinkList::enterPath(std::uint32_t position) const
{
    // Erased ones too: they may come back, and who looks a path up opens what is found.
    const OdDbObjectId id = std::as_const(m_ids)[position];
    const auto link =
        ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead, /*openErased=*/true).get());
    const bool isToldOf = !link.isNull() && link->ownerId() == m_owner;
    m_byPath.insert(isToldOf ? hashOfLink(*link) : kUnlinkedHash, position);
}

/// Enters a place or a path that is new, if there is a table.
void ZemLinkList::enterIfReadable(std::uint32_t position) const
{
    if (!m_byPath.isBuilt()) {
        return;
    }
    try {
        enterPath(position);
    } catch (...) {
        m_byPath.clear();  // whoever needs it next makes it, or is told why that can't be done
    }
}

std::vector<std::uint32_t> ZemLinkList::positionsOf(OdDbObjectId id) const
{
    needIds();
    std::vector<std::uint32_t> positions;
    m_byId.visit(hashOfId(id), [&](std::uint32_t position) {
        if (std::as_const(m_ids)[position] == id && !isGone(position)) {
            positions.push_back(position);
        }
    });
    return positions;
}
