#include "extensions/named_selection.h"

#include "db/od_db_dictionary.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_database_utils.h"

#include <algorithm>
#include <set>
#include <utility>

namespace zemhost {

RX_DEFINE_CLASS(HostNamedSelection, OdDbObject, odrxCreate<HostNamedSelection>,
                L"ZemHostNamedSelection", OdDb::kDwgVersionCurrent, 0, 0, L"ZEMHOST_SELECTION",
                L"zemhost|Description: links that a person has named");

namespace {

constexpr std::uint8_t kVersion = 1;
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
}

SelectionState readState(OdDbDwgFiler& filer)
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
    return state;
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
    return zemu::getObjInExtDict(block, name, create ? desc() : nullptr, &dictionaryKey());
}

OdDbObjectIdArray HostNamedSelection::selectionsOf(OdDbObjectId block)
{
    OdDbObjectIdArray selections;
    const OdDbObjectPtr object = block.openObject();
    if (object.isNull()) {
        return selections;
    }
    const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(
        zemu::getDict(object->database(), dictionaryKey(), block).openObject().get());
    if (dictionary.isNull()) {
        return selections;
    }
    for (auto at = dictionary->newIterator(); !at->done(); at->next()) {
        if (!HostNamedSelection::cast(at->objectId().openObject().get()).isNull()) {
            selections.append(at->objectId());
        }
    }
    return selections;
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
    if (filer->rdUInt8() > kVersion) {
        return kOdBadStream;
    }
    std::vector<SelectionEntry> entries;
    for (std::uint32_t count = odDbReadCount(*filer, kLeastStateBytes); count != 0; --count) {
        SelectionEntry entry;
        entry.now = readState(*filer);
        if (filer->rdBool()) {
            entry.before = readState(*filer);
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
