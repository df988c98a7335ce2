#include "extensions/named_selection.h"

#include "db/od_db_dictionary.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_database_utils.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace zemhost {

RX_DEFINE_CLASS(HostNamedSelection, OdDbObject, odrxCreate<HostNamedSelection>,
                L"ZemHostNamedSelection", OdDb::kDwgVersionCurrent, 0, 0, L"ZEMHOST_SELECTION",
                L"zemhost|Description: links that a person has named");

namespace {

constexpr std::uint8_t kVersion = 3;
constexpr std::uint8_t kFirstVersionWithShapes = 2;
constexpr std::uint8_t kFirstVersionWithWays = 3;
/// Least bytes of a filed state: link, counts and the rest may be one byte each.
constexpr std::uint32_t kLeastStateBytes = 7;
constexpr std::uint32_t kLeastPartBytes = 2;

OdString const& dictionaryKey()
{
    static const OdString kKey(L"ZEMHOST_SELECTIONS");
    return kKey;
}

void filePart(OdDbDwgFiler& filer, OdDbSubentId part)
{
    filer.wrInt32(static_cast<std::int32_t>(part.type()));
    filer.wrInt64(part.index());
}

OdDbSubentId readPart(OdDbDwgFiler& filer)
{
    const std::int32_t type = filer.rdInt32();
    const std::int64_t index = filer.rdInt64();
    if (type < static_cast<std::int32_t>(OdDb::SubentType::kNullSubentType) ||
        type > static_cast<std::int32_t>(OdDb::SubentType::kVertexSubentType) || index < 0) {
        throw OdError(kOdBadStream);
    }
    return {static_cast<OdDb::SubentType>(type), index};
}

void fileShape(OdDbDwgFiler& filer, PartShape const& shape)
{
    filer.wrString(shape.kind);
    filer.wrDouble(shape.size);
    for (double coordinate : shape.middle) {
        filer.wrDouble(coordinate);
    }
}

double readFinite(OdDbDwgFiler& filer)
{
    const double value = filer.rdDouble();
    if (!std::isfinite(value)) {
        throw OdError(kOdBadStream);
    }
    return value;
}

PartShape readShape(OdDbDwgFiler& filer)
{
    PartShape shape;
    shape.kind = filer.rdString();
    shape.size = readFinite(filer);
    for (double& coordinate : shape.middle) {
        coordinate = readFinite(filer);
    }
    return shape;
}

void fileState(OdDbDwgFiler& filer, SelectionState const& state)
{
    filer.wrSoftPointerId(state.link);
    OdDbObjectIdArray const& ids = state.path.objectIds();
    filer.wrInt32(static_cast<std::int32_t>(ids.size()));
    for (OdDbObjectId id : ids) {
        filer.wrSoftPointerId(id);
    }
    filePart(filer, state.path.subentId());
    filer.wrUInt8(static_cast<std::uint8_t>(state.answer));
    filer.wrString(state.cause);
    filer.wrInt32(static_cast<std::int32_t>(state.candidates.size()));
    for (OdDbSubentId candidate : state.candidates) {
        filePart(filer, candidate);
    }
    filer.wrInt32(state.bodyHash);
    filer.wrBool(state.shape.has_value());
    if (state.shape) {
        fileShape(filer, *state.shape);
    }
    state.way.steps.dwgOutFields(&filer, nullptr);
}

SelectionState readState(OdDbDwgFiler& filer, std::uint8_t version)
{
    SelectionState state;
    state.link = filer.rdSoftPointerId();
    for (std::uint32_t count = odDbReadCount(filer, 1); count != 0; --count) {
        state.path.objectIds().append(filer.rdSoftPointerId());
    }
    state.path.setSubentId(readPart(filer));
    const std::uint8_t answer = filer.rdUInt8();
    if (answer > static_cast<std::uint8_t>(HostPartAnswer::kAmbiguous)) {
        throw OdError(kOdBadStream);
    }
    state.answer = static_cast<HostPartAnswer>(answer);
    state.cause = filer.rdString();
    for (std::uint32_t count = odDbReadCount(filer, kLeastPartBytes); count != 0; --count) {
        state.candidates.push_back(readPart(filer));
    }
    if (version >= kFirstVersionWithShapes) {
        state.bodyHash = filer.rdInt32();
        if (filer.rdBool()) {
            state.shape = readShape(filer);
        }
    }
    if (version >= kFirstVersionWithWays &&
        state.way.steps.dwgInFields(&filer, /*version=*/0) != kOdOk) {
        throw OdError(kOdBadStream);
    }
    return state;
}

/// What the dictionary of a block's selections holds: the selections, or all else.
OdDbObjectIdArray entriesOf(OdDbObjectId block, bool readable)
{
    OdDbObjectIdArray entries;
    const OdDbObjectPtr object = block.openObject();
    if (object.isNull()) {
        return entries;
    }
    const OdDbObjectId dictionaryId = zemu::getDict(object->database(), dictionaryKey(), block);
    const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(dictionaryId.openObject().get());
    if (dictionary.isNull()) {
        if (!readable && !dictionaryId.isNull()) {
            entries.append(dictionaryId);
        }
        return entries;
    }
    for (auto at = dictionary->newIterator(); !at->done(); at->next()) {
        const OdDbObjectId id = at->objectId();
        if (HostNamedSelection::cast(id.openObject().get()).isNull() != readable) {
            entries.append(id);
        }
    }
    return entries;
}

/// The links that living entries name, each once.
std::set<OdDbObjectId> linksOf(std::vector<SelectionEntry> const& entries)
{
    std::set<OdDbObjectId> links;
    for (SelectionEntry const& entry : entries) {
        if (!entry.now.link.isNull()) {
            links.insert(entry.now.link);
        }
    }
    return links;
}

}  // namespace

HostNamedSelection::HostNamedSelection() = default;

HostNamedSelection::~HostNamedSelection() = default;

OdDbObjectId HostNamedSelection::getInstance(OdDbObjectId block, OdString const& name, bool create)
{
    const OdDbObjectId id =
        zemu::getObjInExtDict(block, name, create ? desc() : nullptr, &dictionaryKey());
    OdRxClass const* const found = id.objectClass();
    if (!id.isNull() && (found == nullptr || !found->isDerivedFrom(desc()))) {
        throw OdError_NotThatKindOfClass(found, desc());
    }
    return id;
}

OdDbObjectIdArray HostNamedSelection::selectionsOf(OdDbObjectId block)
{
    return entriesOf(block, /*readable=*/true);
}

OdDbObjectIdArray HostNamedSelection::unreadableOf(OdDbObjectId block)
{
    return entriesOf(block, /*readable=*/false);
}

OdString HostNamedSelection::name() const
{
    assertReadEnabled();
    const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(ownerId().openObject().get());
    return dictionary.isNull() ? OdString() : dictionary->nameAt(objectId());
}

OdDbObjectId HostNamedSelection::blockId() const
{
    assertReadEnabled();
    OdDbObjectId at = ownerId();
    for (int level = 0; level < 2; ++level) {  // this one's dictionary, and the block's
        const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(at.openObject().get());
        if (dictionary.isNull()) {
            return OdDbObjectId::kNull;
        }
        at = dictionary->ownerId();
    }
    return at;
}

std::vector<SelectionEntry> const& HostNamedSelection::entries() const
{
    assertReadEnabled();
    return m_entries;
}

void HostNamedSelection::setEntries(std::vector<SelectionEntry> entries)
{
    assertWriteEnabled();
    std::set<OdDbObjectId> kept;
    std::erase_if(entries, [&kept](SelectionEntry const& entry) {
        return !entry.now.link.isNull() && !kept.insert(entry.now.link).second;
    });
    const std::set<OdDbObjectId> watched = linksOf(m_entries);
    m_entries = std::move(entries);
    for (OdDbObjectId link : watched) {
        if (kept.count(link) == 0) {
            watch(link, false);
        }
    }
    for (OdDbObjectId link : kept) {
        if (watched.count(link) == 0) {
            watch(link, true);
        }
    }
}

void HostNamedSelection::watch(OdDbObjectId link, bool on) const
{
    const OdDbObjectPtr object = link.openObject(OdDb::kForWrite);
    if (object.isNull() || objectId().isNull()) {
        return;
    }
    if (on) {
        object->addPersistentReactor(objectId());
    } else {
        object->removePersistentReactor(objectId());
    }
}

OdResult HostNamedSelection::subErase(bool erasing)
{
    const OdResult result = OdDbObject::subErase(erasing);
    if (result == kOdOk && !isUndoing()) {
        for (OdDbObjectId link : linksOf(m_entries)) {
            watch(link, !erasing);
        }
    }
    return result;
}

OdResult HostNamedSelection::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled();
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    const std::uint8_t version = filer->rdUInt8();
    if (version > kVersion) {
        return kOdBadStream;
    }
    std::vector<SelectionEntry> entries;
    for (std::uint32_t count = odDbReadCount(*filer, kLeastStateBytes); count != 0; --count) {
        SelectionEntry entry;
        entry.now = readState(*filer, version);
        if (filer->rdBool()) {
            entry.before = readState(*filer, version);
        }
        entries.push_back(std::move(entry));
    }
    m_entries = std::move(entries);
    return kOdOk;
}

void HostNamedSelection::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    filer->wrUInt8(kVersion);
    filer->wrInt32(static_cast<std::int32_t>(m_entries.size()));
    for (SelectionEntry const& entry : m_entries) {
        fileState(*filer, entry.now);
        filer->wrBool(entry.before.has_value());
        if (entry.before) {
            fileState(*filer, *entry.before);
        }
    }
}

}  // namespace zemhost
