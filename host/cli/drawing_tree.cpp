#include "cli/drawing_tree.h"

#include "assoc/od_db_assoc_dependency.h"
#include "cli/drawing.h"
#include "cli/drawing_blocks.h"
#include "cli/driven_inserts.h"
#include "cli/external_drawings.h"
#include "cli/network_view.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_object_store.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"
#include "store/od_db_page.h"

#include "protocol/host_error.h"

#include <array>
#include <cstdio>
#include <limits>
#include <numbers>
#include <unordered_map>
#include <unordered_set>

namespace zemhost {

namespace {

/// Dictionaries in dictionaries that are followed; a damaged drawing may nest them without end.
constexpr int kMaxDepth = 64;

Json pointJson(OdGePoint3d const& point)
{
    return Json::array({point.x, point.y, point.z});
}

/// In hexadecimal, so that bodies can be compared without being shown.
std::string checksumOf(OdBinaryData const& bytes)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08x", odDbChecksum({bytes.getPtr(), bytes.size()}));
    return text.data();
}

char const* placeName(BagPlace place)
{
    return place == BagPlace::kExtendedData ? "extended data" : "extension dictionary";
}

/// Builds nodes, each object at most once.
class TreeBuilder
{
public:
    TreeBuilder(OdDbDatabase& database, HostBagExtension const* bags, std::size_t limit)
        : m_database(database), m_bags(bags),
          m_limit(limit == 0 ? std::numeric_limits<std::size_t>::max() : limit)
    {
        for (ExternalDrawing const& drawing : loadExternalDrawings(database)) {
            m_externals[drawing.block.getHandle().value()] = externalJson(drawing);
        }
    }

    Json tables();
    Json dictionaries() { return node(m_database.getNamedObjectsDictionaryId(), 0); }
    Json others();
    Json classes();
    std::uint64_t objectCount() const noexcept { return m_objectCount; }

private:
    Json node(OdDbObjectId id, int depth);
    Json table(char const* name, OdDbObjectId id);
    void addClassContent(Json& json, OdDbObject const& object, int depth);
    void addProxy(Json& json, OdDbProxyObject const& proxy);
    void addSolid(Json& json, OdDb3dSolid const& solid);
    void addBlock(Json& json, OdDbBlockTableRecord const& block, int depth);
    void addExternal(Json& json, OdDbBlockTableRecord const& block);
    void addInsert(Json& json, OdDbBlockReference const& insert);
    void addScaleDrive(Json& json, OdDbBlockReference const& insert);
    void addNetwork(Json& json, OdDbAssocNetwork const& network, int depth);
    void addVariable(Json& json, OdDbAssocVariable const& variable);
    void addDependency(Json& json, OdDbAssocDependency const& dependency);
    void addDependencies(Json& json, OdDbAssocAction const& action);
    void addLayer(Json& json, OdDbLayerTableRecord const& layer);
    void addXrecord(Json& json, OdDbXrecord const& record);
    void addDictionary(Json& json, OdDbDictionary const& dictionary, int depth);
    void addAttachments(Json& json, OdDbObject const& object, int depth);
    void addExtendedData(Json& json, OdDbObject const& object);
    void addBag(Json& json, OdDbObject const& object);
    Json unreadable(OdDbObjectId id);

    OdDbDatabase& m_database;
    HostBagExtension const* m_bags;
    std::size_t m_limit;
    std::unordered_set<std::uint64_t> m_seen;  ///< handles of objects that the tree holds or counts
    std::unordered_map<std::uint64_t, Json> m_externals;  ///< by the handles of their blocks
    std::uint64_t m_objectCount = 0;
};

Json TreeBuilder::unreadable(OdDbObjectId id)
{
    Json json;
    json["handle"] = toText(id.getHandle());
    json["problem"] = damageOf(m_database, id.getHandle());
    return json;
}

Json TreeBuilder::node(OdDbObjectId id, int depth)
{
    const OdDbObjectPtr object = id.openObject();
    const bool isNew = m_seen.insert(id.getHandle().value()).second;
    if (object.isNull()) {
        return unreadable(id);
    }
    Json json;
    json["handle"] = toText(object->handle());
    json["class"] = classNameOf(*object);
    if (!isNew) {
        json["note"] = "shown already";
        return json;
    }
    if (depth > kMaxDepth) {
        json["note"] = "nested too deep to be shown";
        return json;
    }
    addClassContent(json, *object, depth);
    addAttachments(json, *object, depth);
    return json;
}

void TreeBuilder::addClassContent(Json& json, OdDbObject const& object, int depth)
{
    if (const auto record = OdDbSymbolTableRecord::cast(&object); !record.isNull()) {
        json["name"] = toUtf8(record->getName());
    }
    if (const auto proxy = OdDbProxyObject::cast(&object); !proxy.isNull()) {
        addProxy(json, *proxy);
    } else if (const auto block = OdDbBlockTableRecord::cast(&object); !block.isNull()) {
        addBlock(json, *block, depth);
    } else if (const auto solid = OdDb3dSolid::cast(&object); !solid.isNull()) {
        addSolid(json, *solid);
    } else if (const auto insert = OdDbBlockReference::cast(&object); !insert.isNull()) {
        addInsert(json, *insert);
    } else if (const auto network = OdDbAssocNetwork::cast(&object); !network.isNull()) {
        addNetwork(json, *network, depth);
    } else if (const auto variable = OdDbAssocVariable::cast(&object); !variable.isNull()) {
        addVariable(json, *variable);
    } else if (const auto dependency = OdDbAssocDependency::cast(&object); !dependency.isNull()) {
        addDependency(json, *dependency);
    } else if (const auto line = OdDbLine::cast(&object); !line.isNull()) {
        json["start"] = pointJson(line->startPoint());
        json["end"] = pointJson(line->endPoint());
    } else if (const auto layer = OdDbLayerTableRecord::cast(&object); !layer.isNull()) {
        addLayer(json, *layer);
    } else if (const auto linetype = OdDbLinetypeTableRecord::cast(&object); !linetype.isNull()) {
        json["dashes"] = linetype->dashes().size();
    } else if (const auto xrecord = OdDbXrecord::cast(&object); !xrecord.isNull()) {
        addXrecord(json, *xrecord);
    } else if (const auto dictionary = OdDbDictionary::cast(&object); !dictionary.isNull()) {
        addDictionary(json, *dictionary, depth);
    }
}

void TreeBuilder::addProxy(Json& json, OdDbProxyObject const& proxy)
{
    const OdDbClassRecord record = proxy.originalClass();
    Json& added = json["proxy"];
    added["dxfName"] = toUtf8(record.dxfName);
    added["application"] = toUtf8(record.appName);
    added["bytes"] = proxy.body().bytes.size();
    added["references"] = proxy.body().references.size();
}

void TreeBuilder::addSolid(Json& json, OdDb3dSolid const& solid)
{
    json["label"] = toUtf8(solid.label());
    json["faces"] = solid.counts().faces;
    json["edges"] = solid.counts().edges;
    json["vertices"] = solid.counts().vertices;
    json["bodyFormat"] = toUtf8(solid.bodyFormat());
    json["bodyBytes"] = solid.body().size();
    json["bodyChecksum"] = checksumOf(solid.body());
}

void TreeBuilder::addExternal(Json& json, OdDbBlockTableRecord const& block)
{
    json["path"] = toUtf8(block.pathName());
    Json& external = m_externals[block.handle().value()];
    json["external"] = external;
    // The entities are objects of the other drawing, with handles of their own.
    json["entityCount"] = external.value("entities", std::uint64_t{0});
}

void TreeBuilder::addInsert(Json& json, OdDbBlockReference const& insert)
{
    const OdDbObjectId id = insert.blockTableRecord();
    const auto block = OdDbBlockTableRecord::cast(id.openObject().get());
    json["block"] = block.isNull() ? Json() : Json(toUtf8(block->getName()));
    json["blockHandle"] = toText(id.getHandle());
    json["position"] = pointJson(insert.position());
    const OdGeScale3d scale = insert.scaleFactors();
    json["scale"] = Json::array({scale.sx, scale.sy, scale.sz});
    json["rotationDegrees"] = insert.rotation() * 180 / std::numbers::pi;
    const OdGeVector3d normal = insert.normal();
    json["normal"] = Json::array({normal.x, normal.y, normal.z});
    addScaleDrive(json, insert);
}

void TreeBuilder::addScaleDrive(Json& json, OdDbBlockReference const& insert)
{
    if (m_bags == nullptr || m_bags->form(insert).place == BagPlace::kNone) {
        return;
    }
    try {
        const std::optional<ScaleDrive> drive = scaleDriveOf(*m_bags, insert);
        if (drive.has_value()) {
            json["scaleVariable"] = toUtf8(drive->variable);
        }
    } catch (HostError const& error) {
        json["scaleProblem"] = error.what();
    }
}

void TreeBuilder::addNetwork(Json& json, OdDbAssocNetwork const& network, int depth)
{
    std::uint64_t count = 0;
    Json actions = Json::array();
    for (OdDbObjectId id : network.getActions()) {
        if (++count <= m_limit) {
            actions.push_back(node(id, depth + 1));
        } else {
            m_seen.insert(id.getHandle().value());
        }
    }
    json["actionCount"] = count;
    json["actions"] = std::move(actions);
    addDependencies(json, network);
}

void TreeBuilder::addVariable(Json& json, OdDbAssocVariable const& variable)
{
    json["name"] = toUtf8(variable.name());
    double value = 0;
    (void)variable.value()->getNumber(value);  // a variable's value always is one
    json["value"] = value;
    if (!variable.expression().isEmpty()) {
        json["expression"] = toUtf8(variable.expression());
    }
    if (const OdString error = variable.evaluationError(); !error.isEmpty()) {
        json["expressionProblem"] = toUtf8(error);
    }
    addDependencies(json, variable);
}

void TreeBuilder::addDependency(Json& json, OdDbAssocDependency const& dependency)
{
    json["dependsOn"] = toText(dependency.dependentOnObject().getHandle());
}

void TreeBuilder::addDependencies(Json& json, OdDbAssocAction const& action)
{
    OdDbObjectIdArray dependencies;
    (void)action.getDependencies(/*read=*/true, /*write=*/false, dependencies);  // always 0
    Json handles = Json::array();
    for (OdDbObjectId id : dependencies) {
        m_seen.insert(id.getHandle().value());
        const auto dependency = OdDbAssocDependency::cast(id.openObject().get());
        if (!dependency.isNull()) {
            handles.push_back(toText(dependency->dependentOnObject().getHandle()));
        }
    }
    if (!handles.empty()) {
        json["dependsOn"] = std::move(handles);
    }
}

void TreeBuilder::addBlock(Json& json, OdDbBlockTableRecord const& block, int depth)
{
    json["units"] = unitsName(block.blockInsertUnits());
    json["origin"] = pointJson(block.origin());
    json["references"] = block.getBlockReferenceIds().size();
    if (block.isFromExternalReference()) {
        addExternal(json, block);
        return;
    }
    std::uint64_t count = 0;
    Json entities = Json::array();
    for (const auto at = block.newIterator(); !at->done(); at->step()) {
        if (++count <= m_limit) {
            entities.push_back(node(at->objectId(), depth + 1));
        } else {
            m_seen.insert(at->objectId().getHandle().value());
        }
    }
    json["entityCount"] = count;
    json["entities"] = std::move(entities);
}

void TreeBuilder::addLayer(Json& json, OdDbLayerTableRecord const& layer)
{
    json["off"] = layer.isOff();
    json["frozen"] = layer.isFrozen();
    json["locked"] = layer.isLocked();
    json["plottable"] = layer.isPlottable();
}

void TreeBuilder::addXrecord(Json& json, OdDbXrecord const& record)
{
    std::uint64_t count = 0;
    for (OdResBufPtr at = record.rbChain(); !at.isNull(); at = at->next()) {
        ++count;
    }
    json["records"] = count;
}

void TreeBuilder::addDictionary(Json& json, OdDbDictionary const& dictionary, int depth)
{
    std::uint64_t count = 0;
    Json entries = Json::array();
    for (const auto at = dictionary.newIterator(); !at->done(); at->next()) {
        if (++count > m_limit) {
            m_seen.insert(at->objectId().getHandle().value());
            continue;
        }
        Json entry;
        entry["key"] = toUtf8(at->name());
        entry.update(node(at->objectId(), depth + 1));
        entries.push_back(std::move(entry));
    }
    json["count"] = count;
    json["entries"] = std::move(entries);
}

void TreeBuilder::addAttachments(Json& json, OdDbObject const& object, int depth)
{
    const std::uint64_t reactors = object.getPersistentReactors().size();
    if (reactors != 0) {
        json["reactors"] = reactors;
    }
    addExtendedData(json, object);
    addBag(json, object);
    const OdDbObjectId dictionary = object.extensionDictionary();
    if (!dictionary.isNull()) {
        json["extensionDictionary"] = node(dictionary, depth + 1);
    }
}

void TreeBuilder::addExtendedData(Json& json, OdDbObject const& object)
{
    Json applications = Json::array();
    for (OdResBufPtr at = object.xData(); !at.isNull(); at = at->next()) {
        if (at->restype() == OdResBuf::kXdAppName) {
            Json application;
            application["application"] = toUtf8(at->getString());
            application["records"] = 0;
            applications.push_back(std::move(application));
        } else if (!applications.empty()) {
            applications.back()["records"] = applications.back()["records"].get<int>() + 1;
        }
    }
    if (!applications.empty()) {
        json["extendedData"] = std::move(applications);
    }
}

void TreeBuilder::addBag(Json& json, OdDbObject const& object)
{
    if (m_bags == nullptr) {
        return;
    }
    const BagForm form = m_bags->form(object);
    if (form.place == BagPlace::kNone) {
        return;
    }
    Json& bag = json["bag"];
    bag["place"] = placeName(form.place);
    bag["bytes"] = form.bytes;
    try {
        const BagJson types = m_bags->readTypes(object);
        bag["count"] = types.size();
        bag["types"] = Json::object();
        std::size_t shown = 0;
        for (auto const& [name, type] : types.items()) {
            if (++shown > m_limit) {
                break;
            }
            bag["types"][name] = type.get<std::string>();
        }
    } catch (HostError const& error) {
        bag["problem"] = error.what();
    }
}

Json TreeBuilder::table(char const* name, OdDbObjectId id)
{
    const OdDbObjectPtr object = id.openObject();
    m_seen.insert(id.getHandle().value());
    const OdDbSymbolTablePtr table = OdDbSymbolTable::cast(object.get());
    Json json;
    json["name"] = name;
    if (table.isNull()) {
        json.update(unreadable(id));
        return json;
    }
    json["handle"] = toText(table->handle());
    json["class"] = classNameOf(*table);
    json["count"] = table->numEntries();
    Json records = Json::array();
    for (const auto at = table->newIterator(); !at->done(); at->step()) {
        if (records.size() < m_limit) {
            records.push_back(node(at->getRecordId(), 1));
        } else {
            m_seen.insert(at->getRecordId().getHandle().value());
        }
    }
    json["records"] = std::move(records);
    addAttachments(json, *table, 0);
    return json;
}

Json TreeBuilder::tables()
{
    return Json::array({table("blocks", m_database.getBlockTableId()),
                        table("layers", m_database.getLayerTableId()),
                        table("linetypes", m_database.getLinetypeTableId()),
                        table("applications", m_database.getRegAppTableId())});
}

Json TreeBuilder::others()
{
    std::uint64_t count = 0;
    Json entries = Json::array();
    forEachHandle(m_database, [&](OdDbHandle handle) {
        ++m_objectCount;
        if (m_seen.contains(handle.value())) {
            return;
        }
        if (++count > m_limit) {
            return;
        }
        const OdDbObjectId id = m_database.getOdDbObjectId(handle);
        Json entry = node(id, 0);
        const OdDbObjectPtr object = id.openObject();
        if (!object.isNull()) {
            entry["owner"] = toText(object->ownerId().getHandle());
        }
        entries.push_back(std::move(entry));
    });
    Json json;
    json["count"] = count;
    json["entries"] = std::move(entries);
    return json;
}

Json TreeBuilder::classes()
{
    std::vector<std::uint64_t> counts(m_database.classCount());
    OdDbObjectStore* const store = OdDbStorageAccess(m_database).store();
    forEachHandle(m_database, [&](OdDbHandle handle) {
        std::uint32_t index = 0;
        if (store != nullptr && store->find(handle, index) && index < counts.size()) {
            ++counts[index];
        }
    });
    Json list = Json::array();
    for (std::uint32_t index = 0; index < counts.size(); ++index) {
        OdDbClassRecord const& record = m_database.classRecord(index);
        Json json;
        json["name"] = toUtf8(record.name);
        json["dxfName"] = toUtf8(record.dxfName);
        json["application"] = toUtf8(record.appName);
        json["dwgVersion"] = record.dwgVersion;
        json["maintenanceVersion"] = record.maintenanceVersion;
        json["proxyFlags"] = record.proxyFlags;
        json["registered"] = odrxClassDictionary()->getAt(record.name) != nullptr;
        json["objects"] = counts[index];
        list.push_back(std::move(json));
    }
    return list;
}

}  // namespace

Json drawingTree(OdDbDatabase& database, HostBagExtension const* bags, std::size_t limit)
{
    TreeBuilder builder(database, bags, limit);
    Json tables = builder.tables();
    Json dictionaries = builder.dictionaries();
    Json others = builder.others();

    const std::string path = toUtf8(database.getFilename());
    Json tree;
    Json& drawing = tree["drawing"];
    drawing["path"] = path;
    drawing["bytes"] = fileSize(path);
    drawing["version"] = odDbDrawingVersion(database);
    drawing["objects"] = builder.objectCount();
    drawing["nextHandle"] = toText(database.handseed());
    Json& settings = drawing["settings"];
    settings["units"] = unitsName(database.getINSUNITS());
    settings["modelInsertBase"] = pointJson(database.getINSBASE());
    settings["paperInsertBase"] = pointJson(database.getPINSBASE());
    tree["tables"] = std::move(tables);
    tree["dictionaries"] = std::move(dictionaries);
    tree["others"] = std::move(others);
    tree["classes"] = builder.classes();
    return tree;
}

}  // namespace zemhost
