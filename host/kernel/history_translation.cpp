#include "kernel/history_translation_impl.h"
#include "kernel/item_geometry_impl.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace zemhost {

namespace {

std::size_t slot(SubentKind kind)
{
    return static_cast<std::size_t>(kind);
}

/// The images that shape and history tell, without a look at geometry.
std::vector<int> toldImages(const TopoDS_Shape& item, SubentKind kind,
                            const Handle(BRepTools_History) & history, const ItemNumbers& after)
{
    std::vector<int> targets;
    if (const int same = after.of(kind).FindIndex(item)) {
        targets.push_back(same);
    }
    for (const TopoDS_Shape& image : history->Modified(item)) {
        const int number =
            image.ShapeType() == shapeType(kind) ? after.of(kind).FindIndex(image) : 0;
        if (number != 0) {
            targets.push_back(number);
        }
    }
    std::sort(targets.begin(), targets.end());
    targets.erase(std::unique(targets.begin(), targets.end()), targets.end());
    return targets;
}

bool fitsCarrier(const TopoDS_Shape& item, SubentKind kind, const std::vector<int>& targets,
                 const ItemNumbers& after)
{
    return std::all_of(targets.begin(), targets.end(), [&](int target) {
        const TopoDS_Shape& image = after.of(kind)(target);
        return image.IsSame(item) || isSameCarrier(item, image, kind);
    });
}

/// Looks for the items of a result that share material with one that the history has lost.
class LostItems
{
public:
    explicit LostItems(const ItemNumbers& after) : m_after(after) {}

    std::vector<int> find(const TopoDS_Shape& item, SubentKind kind)
    {
        std::optional<ItemBoxes>& boxes = m_boxes[slot(kind)];
        if (!boxes.has_value()) {
            boxes.emplace(m_after.of(kind), kind);
        }
        std::vector<int> found;
        for (const int number : boxes->near(item)) {
            if (sharesMaterial(item, m_after.of(kind)(number), kind)) {
                found.push_back(number);
            }
        }
        return found;
    }

private:
    const ItemNumbers& m_after;
    std::array<std::optional<ItemBoxes>, 3> m_boxes;
};

}  // namespace

ItemImages translateHistory(const RawEdit& edit, const ItemNumbers& after)
{
    LostItems lost(after);
    ItemImages images;
    for (const SubentKind kind : kSubentKinds) {
        const TopTools_IndexedMapOfShape& items = edit.source->items(kind);
        std::vector<ItemImage>& found = images[slot(kind)];
        found.resize(static_cast<std::size_t>(items.Extent()));
        for (int number = 1; number <= items.Extent(); ++number) {
            const TopoDS_Shape& item = items(number);
            ItemImage& image = found[static_cast<std::size_t>(number) - 1];
            image.targets = toldImages(item, kind, edit.history, after);
            image.isAmbiguous = !fitsCarrier(item, kind, image.targets, after);
            if (image.targets.empty() && edit.trust == HistoryTrust::kModifiedOnly) {
                image.targets = lost.find(item, kind);
            }
        }
    }
    return images;
}

ItemImages translateTool(const RawEdit& edit, const ItemNumbers& tool, const ItemNumbers& after)
{
    ItemImages images;
    for (const SubentKind kind : kSubentKinds) {
        const TopTools_IndexedMapOfShape& items = tool.of(kind);
        std::vector<ItemImage>& found = images[slot(kind)];
        found.resize(static_cast<std::size_t>(items.Extent()));
        for (int number = 1; number <= items.Extent(); ++number) {
            found[static_cast<std::size_t>(number) - 1].targets =
                toldImages(items(number), kind, edit.history, after);
        }
    }
    return images;
}

std::vector<int> generatedBy(const RawEdit& edit, const TopoDS_Shape& item, SubentKind kind,
                             const ItemNumbers& after)
{
    std::vector<int> numbers;
    for (const TopoDS_Shape& shape : edit.history->Generated(item)) {
        const int number =
            shape.ShapeType() == shapeType(kind) ? after.of(kind).FindIndex(shape) : 0;
        if (number != 0) {
            numbers.push_back(number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

SubentMap mapOfImages(const ItemImages& images, const SubentCounts& before,
                      const SubentCounts& after, std::string cause)
{
    SubentMap::Builder builder(before, after, std::move(cause));
    for (const SubentKind kind : kSubentKinds) {
        int number = 0;
        for (const ItemImage& image : images[slot(kind)]) {
            ++number;
            if (image.isAmbiguous) {
                builder.setAmbiguous({kind, number}, image.targets);
            } else {
                builder.set({kind, number}, image.targets);
            }
        }
    }
    return builder.finish();
}

}  // namespace zemhost
