#include "kernel/lineage_impl.h"

#include <TopoDS_Iterator.hxx>

#include <algorithm>
#include <iterator>
#include <utility>

namespace zemhost {

namespace {

/// First word of an origin's key.
enum KeyTag : std::uint32_t
{
    kBaseItemKey = 0,
    kToolItemKey = 1,
    kMadeKey = 2,
    kMeetingKey = 3,
};

std::size_t slot(SubentKind kind)
{
    return static_cast<std::size_t>(kind);
}

std::uint32_t word(SubentKind kind)
{
    return static_cast<std::uint32_t>(kind);
}

template <typename Value>
void addSorted(std::vector<Value>& values, const Value& value)
{
    const auto place = std::lower_bound(values.begin(), values.end(), value);
    if (place == values.end() || *place != value) {
        values.insert(place, value);
    }
}

template <typename Value>
void addAllSorted(std::vector<Value>& values, const std::vector<Value>& others)
{
    for (const Value& other : others) {
        addSorted(values, other);
    }
}

}  // namespace

//--------------------------------------------------------------------------------------------------

OriginId OriginTable::intern(std::vector<std::uint32_t> key)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::uint32_t step = key[1];
    const auto [found, isNew] =
        m_ids.emplace(std::move(key), static_cast<OriginId>(m_steps.size()));
    if (isNew) {
        m_steps.push_back(step);
    }
    return found->second;
}

OriginId OriginTable::baseItem(std::uint32_t toolKey, Subent item)
{
    return intern(
        {kBaseItemKey, 0, toolKey, word(item.kind), static_cast<std::uint32_t>(item.number)});
}

OriginId OriginTable::toolItem(std::uint32_t step, std::uint32_t toolKey, Subent item)
{
    return intern(
        {kToolItemKey, step, toolKey, word(item.kind), static_cast<std::uint32_t>(item.number)});
}

OriginId OriginTable::made(std::uint32_t step, SubentKind kind, OriginId along)
{
    return intern({kMadeKey, step, word(kind), along});
}

OriginId OriginTable::meeting(std::uint32_t step, SubentKind kind, std::span<const OriginId> faces)
{
    std::vector<std::uint32_t> key = {kMeetingKey, step, word(kind)};
    key.insert(key.end(), faces.begin(), faces.end());
    return intern(std::move(key));
}

std::uint32_t OriginTable::stepOf(OriginId id) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_steps[id];
}

std::size_t OriginTable::size() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_steps.size();
}

//--------------------------------------------------------------------------------------------------

namespace {

/// Adds the numbers, from 0 on, of the items of one kind in a shape; it has them directly, or in
/// shapes of other kinds between.
void addNumbersIn(const TopoDS_Shape& shape, SubentKind kind, const ItemNumbers& numbers,
                  std::vector<int>& found)
{
    for (TopoDS_Iterator part(shape); part.More(); part.Next()) {
        if (part.Value().ShapeType() == shapeType(kind)) {
            found.push_back(numbers.of(kind).FindIndex(part.Value()) - 1);
        } else if (part.Value().ShapeType() < shapeType(kind)) {
            addNumbersIn(part.Value(), kind, numbers, found);
        }
    }
}

}  // namespace

void Incidence::Relation::add(std::vector<int>& others)
{
    std::sort(others.begin(), others.end());
    others.erase(std::unique(others.begin(), others.end()), others.end());
    m_others.insert(m_others.end(), others.begin(), others.end());
    m_begins.push_back(static_cast<std::uint32_t>(m_others.size()));
}

std::span<const int> Incidence::Relation::of(int index) const
{
    const std::uint32_t begin = m_begins[static_cast<std::size_t>(index)];
    const std::uint32_t end = m_begins[static_cast<std::size_t>(index) + 1];
    return std::span(m_others).subspan(begin, end - begin);
}

Incidence::Relation Incidence::Relation::turned(int count) const
{
    Relation result;
    result.m_begins.assign(static_cast<std::size_t>(count) + 1, 0);
    for (const int other : m_others) {
        ++result.m_begins[static_cast<std::size_t>(other) + 1];
    }
    for (std::size_t index = 1; index < result.m_begins.size(); ++index) {
        result.m_begins[index] += result.m_begins[index - 1];
    }
    std::vector<std::uint32_t> places = result.m_begins;
    result.m_others.resize(m_others.size());
    for (int item = 0; item < size(); ++item) {
        for (const int other : of(item)) {
            result.m_others[places[static_cast<std::size_t>(other)]++] = item;
        }
    }
    return result;
}

Incidence::Relation Incidence::touching(const ItemNumbers& numbers, SubentKind outer,
                                        SubentKind inner)
{
    Relation relation;
    std::vector<int> found;
    const TopTools_IndexedMapOfShape& items = numbers.of(outer);
    for (int number = 1; number <= items.Extent(); ++number) {
        found.clear();
        addNumbersIn(items(number), inner, numbers, found);
        relation.add(found);
    }
    return relation;
}

/// Those of a face's edges, and those that lie in the face itself.
Incidence::Relation Incidence::verticesOfFaces(const ItemNumbers& numbers,
                                               const Relation& edgesOfFaces,
                                               const Relation& verticesOfEdges)
{
    Relation relation;
    std::vector<int> found;
    for (int face = 0; face < edgesOfFaces.size(); ++face) {
        found.clear();
        for (const int edge : edgesOfFaces.of(face)) {
            const std::span<const int> ends = verticesOfEdges.of(edge);
            found.insert(found.end(), ends.begin(), ends.end());
        }
        const TopoDS_Shape& shape = numbers.of(SubentKind::kFace)(face + 1);
        for (TopoDS_Iterator part(shape); part.More(); part.Next()) {
            if (part.Value().ShapeType() == TopAbs_VERTEX) {
                found.push_back(numbers.of(SubentKind::kVertex).FindIndex(part.Value()) - 1);
            }
        }
        relation.add(found);
    }
    return relation;
}

Incidence::Incidence(const ItemNumbers& numbers)
{
    using enum SubentKind;
    Relation edgesOfFaces = touching(numbers, kFace, kEdge);
    Relation verticesOfEdges = touching(numbers, kEdge, kVertex);
    setBothWays(kFace, kVertex, verticesOfFaces(numbers, edgesOfFaces, verticesOfEdges), numbers);
    setBothWays(kFace, kEdge, std::move(edgesOfFaces), numbers);
    setBothWays(kEdge, kVertex, std::move(verticesOfEdges), numbers);
}

void Incidence::setBothWays(SubentKind first, SubentKind second, Relation relation,
                            const ItemNumbers& numbers)
{
    m_relations[slot(second)][slot(first)] = relation.turned(numbers.of(second).Extent());
    m_relations[slot(first)][slot(second)] = std::move(relation);
}

std::span<const int> Incidence::of(SubentKind from, int index, SubentKind to) const
{
    return m_relations[slot(from)][slot(to)].of(index);
}

//--------------------------------------------------------------------------------------------------

ItemOrigins originsOfBase(OriginTable& table, const SubentCounts& counts)
{
    ItemOrigins origins;
    for (const SubentKind kind : kSubentKinds) {
        for (int number = 1; number <= counts.of(kind); ++number) {
            origins[slot(kind)].push_back({{table.baseItem(0, {kind, number})}, {}});
        }
    }
    return origins;
}

namespace {

/// Gathers the origins of a solid after a step.
class OriginsAfter
{
public:
    OriginsAfter(OriginTable& table, const StepLineage& lineage)
        : m_table(table), m_lineage(lineage)
    {
        for (const SubentKind kind : kSubentKinds) {
            m_origins[slot(kind)].resize(static_cast<std::size_t>(lineage.after.of(kind).Extent()));
        }
    }

    ItemOrigins gather(const ItemOrigins& before)
    {
        takeOld(before);
        for (const ToolPart& tool : m_lineage.edit.tools) {
            takeTool(tool);
        }
        takeMadeFaces(before);
        nameUnknownFaces();
        nameMeetings(SubentKind::kEdge);
        nameMeetings(SubentKind::kVertex);
        return std::move(m_origins);
    }

private:
    ItemOrigin& origin(SubentKind kind, int number)
    {
        return m_origins[slot(kind)][static_cast<std::size_t>(number) - 1];
    }

    void takeOld(const ItemOrigins& before)
    {
        for (const SubentKind kind : kSubentKinds) {
            const std::vector<ItemImage>& images = m_lineage.images[slot(kind)];
            for (std::size_t index = 0; index < images.size(); ++index) {
                takeImages(kind, before[slot(kind)][index], images[index]);
            }
        }
    }

    void takeImages(SubentKind kind, const ItemOrigin& old, const ItemImage& image)
    {
        for (const int target : image.targets) {
            ItemOrigin& found = origin(kind, target);
            addAllSorted(found.ids, old.ids);
            addAllSorted(found.splitBy, old.splitBy);
            if (image.targets.size() > 1) {
                addSorted(found.splitBy, m_lineage.step);
            }
        }
    }

    void takeTool(const ToolPart& tool)
    {
        const ItemNumbers numbers(tool.shape);
        const ItemImages images = translateTool(m_lineage.edit, numbers, m_lineage.after);
        for (const SubentKind kind : kSubentKinds) {
            for (std::size_t index = 0; index < images[slot(kind)].size(); ++index) {
                const Subent item{kind, static_cast<int>(index) + 1};
                takeImages(kind, {{toolItem(tool, item)}, {}}, images[slot(kind)][index]);
            }
        }
    }

    OriginId toolItem(const ToolPart& tool, Subent item)
    {
        if (m_lineage.step == 0) {
            return m_table.baseItem(tool.key, item);
        }
        return m_table.toolItem(m_lineage.step, tool.key, item);
    }

    /// Faces of fillets and chamfers: the history tells the edges and vertices that they lie along.
    void takeMadeFaces(const ItemOrigins& before)
    {
        if (!m_lineage.edit.tools.empty()) {
            return;
        }
        for (const SubentKind kind : {SubentKind::kEdge, SubentKind::kVertex}) {
            const TopTools_IndexedMapOfShape& items = m_lineage.edit.source->items(kind);
            for (int number = 1; number <= items.Extent(); ++number) {
                const std::vector<int> faces =
                    generatedBy(m_lineage.edit, items(number), SubentKind::kFace, m_lineage.after);
                const ItemOrigin& along = before[slot(kind)][static_cast<std::size_t>(number) - 1];
                for (const int face : faces) {
                    takeMadeFace(face, along);
                }
            }
        }
    }

    void takeMadeFace(int face, const ItemOrigin& along)
    {
        for (const OriginId id : along.ids) {
            addSorted(origin(SubentKind::kFace, face).ids,
                      m_table.made(m_lineage.step, SubentKind::kFace, id));
        }
    }

    /// Faces that the history has no parent for share one origin, so that nothing tells them apart
    /// but their neighbours.
    void nameUnknownFaces()
    {
        for (ItemOrigin& face : m_origins[slot(SubentKind::kFace)]) {
            if (face.ids.empty()) {
                face.ids.push_back(m_table.meeting(m_lineage.step, SubentKind::kFace, {}));
            }
        }
    }

    /// Edges and vertices that nothing old lives on in are where their faces meet.
    void nameMeetings(SubentKind kind)
    {
        const int count = m_lineage.after.of(kind).Extent();
        for (int number = 1; number <= count; ++number) {
            if (origin(kind, number).ids.empty()) {
                nameMeeting(kind, number);
            }
        }
    }

    /// One origin for each choice of one origin for each face: a face that was joined of two may be
    /// met as either of them in another solid.
    void nameMeeting(SubentKind kind, int number)
    {
        constexpr std::size_t kMostChoices = 64;
        std::vector<std::vector<OriginId>> choices = {{}};
        for (const int face : m_lineage.incidence.of(kind, number - 1, SubentKind::kFace)) {
            const std::vector<OriginId>& ids =
                m_origins[slot(SubentKind::kFace)][static_cast<std::size_t>(face)].ids;
            const std::size_t taken = choices.size() * ids.size() > kMostChoices ? 1 : ids.size();
            choices = withEach(choices, std::span(ids).first(taken));
        }
        for (std::vector<OriginId>& faces : choices) {
            std::sort(faces.begin(), faces.end());
            addSorted(origin(kind, number).ids, m_table.meeting(m_lineage.step, kind, faces));
        }
    }

    static std::vector<std::vector<OriginId>>
    withEach(const std::vector<std::vector<OriginId>>& choices, std::span<const OriginId> ids)
    {
        std::vector<std::vector<OriginId>> longer;
        for (const std::vector<OriginId>& choice : choices) {
            for (const OriginId id : ids) {
                longer.push_back(choice);
                longer.back().push_back(id);
            }
        }
        return longer;
    }

    OriginTable& m_table;
    const StepLineage& m_lineage;
    ItemOrigins m_origins;
};

}  // namespace

ItemOrigins originsAfter(OriginTable& table, const ItemOrigins& before, const StepLineage& lineage)
{
    return OriginsAfter(table, lineage).gather(before);
}

}  // namespace zemhost
