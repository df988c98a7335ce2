#include "db/od_db_reactor_list_impl.h"

namespace {

/// Lists longer than this get an index.
constexpr std::size_t kIndexedReactors = 16;

}  // namespace

OdDbObjectIdArray OdDbReactorList::ids() const
{
    OdDbObjectIdArray all;
    all.reserve(static_cast<unsigned>(size()));
    forEach([&all](OdDbObjectId id) { all.append(id); });
    return all;
}

void OdDbReactorList::refreshIndex() const
{
    const bool isFresh = m_revision == OdDbObjectId::redirectionRevision() && !m_hasTwins;
    if (size() <= kIndexedReactors) {
        m_index.clear();
        return;
    }
    if (isFresh && !m_index.empty()) {
        return;
    }
    m_index.clear();
    m_index.reserve(size());
    m_hasTwins = false;
    m_revision = OdDbObjectId::redirectionRevision();
    for (std::uint32_t at = m_first; at != kNone; at = m_nodes[at].next) {
        m_hasTwins = !m_index.emplace(m_nodes[at].id.redirected(), at).second || m_hasTwins;
    }
}

std::uint32_t OdDbReactorList::find(OdDbObjectId id) const
{
    if (id.isNull()) {
        return kNone;
    }
    if (m_index.empty() || m_revision != OdDbObjectId::redirectionRevision()) {
        refreshIndex();
    }
    if (m_index.empty()) {
        std::uint32_t at = m_first;
        while (at != kNone && !(m_nodes[at].id == id)) {
            at = m_nodes[at].next;
        }
        return at;
    }
    const auto found = m_index.find(id.redirected());
    return found != m_index.end() ? found->second : kNone;
}

void OdDbReactorList::assign(OdDbObjectIdArray const& ids)
{
    clear();
    for (OdDbObjectId id : ids) {
        if (!contains(id)) {
            append(id);
        }
    }
}

void OdDbReactorList::clear()
{
    m_nodes.clear();
    m_free.clear();
    m_index.clear();
    m_first = m_last = kNone;
    m_hasTwins = false;
}

void OdDbReactorList::insertBefore(OdDbObjectId id, OdDbObjectId next)
{
    const std::uint32_t behind = find(next);
    std::uint32_t place = 0;
    if (m_free.empty()) {
        place = static_cast<std::uint32_t>(m_nodes.size());
        m_nodes.emplace_back();
    } else {
        place = m_free.back();
        m_free.pop_back();
    }
    const std::uint32_t before = behind != kNone ? m_nodes[behind].previous : m_last;
    m_nodes[place] = {id, before, behind};
    (before != kNone ? m_nodes[before].next : m_first) = place;
    (behind != kNone ? m_nodes[behind].previous : m_last) = place;
    if (!m_index.empty()) {
        m_index.emplace(id.redirected(), place);
    }
}

OdDbObjectId OdDbReactorList::remove(OdDbObjectId id)
{
    const std::uint32_t place = find(id);
    if (place == kNone) {
        return OdDbObjectId::kNull;
    }
    const Node node = m_nodes[place];
    (node.previous != kNone ? m_nodes[node.previous].next : m_first) = node.next;
    (node.next != kNone ? m_nodes[node.next].previous : m_last) = node.previous;
    m_nodes[place] = {};
    m_free.push_back(place);
    if (!m_index.empty()) {
        m_index.erase(node.id.redirected());
    }
    if (m_hasTwins) {
        m_index.clear();  // the other one of two ids for one object is to be found from now on
    }
    return node.next != kNone ? m_nodes[node.next].id : OdDbObjectId::kNull;
}
