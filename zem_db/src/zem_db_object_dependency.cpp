#include "zem_db_object_dependency.h"

#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_constraint_maintenance.h"
#include "zem_db_class_info.h"
#include "zem_db_object.h"
#include "zem_db_persid_manager.h"
#include "zem_properties.h"

#include <algorithm>
#include <atomic>
#include <utility>

ZEM_DEFINE_DB_CLASS(ZemDbObjectDependency, OdDbObject, L"ZemDbObjectDependency",
                    L"ZEMDBOBJECTDEPENDENCY", kZemAppConstraints);

// Narrow, as filers have texts: nothing is converted where they are filed and compared.
const OdString kTagKey("entity_tag");
const OdString kBodyHashKey("body_top_hash");

namespace {

/// Stands in the place of the part's type in a stream; what follows is a version.
constexpr std::int32_t kHasVersion = -1;

/// Versions of the extended form. They stand in drawings and never change.
enum LinkVersion : std::int32_t
{
    kLinkWithoutBag = 1,  ///< and all below: chain and part
    kLinkWithTexts = 2,   ///< a map of texts, and what nobody reads any more
    kLinkWithBag = 3      ///< bag, chain and part
};

/// Drawings of a lower version have links in the oldest form.
constexpr int kFirstExtendedDwgVersion = OdDb::kDwgVersion30;

/// Items in the bag of a link to which nobody has added any: hash and tag, in order of names.
constexpr std::int32_t kUsualItems = 2;

/// Version that is told to the reader of the chain; all chains that links have are of this one.
constexpr int kChainVersion = 0;

/// See `rereadRevision`; drawings may be read on several threads.
std::atomic<std::uint64_t> s_rereads = 0;

bool isFile(OdDbDwgFiler const& filer)
{
    return filer.filerType() == OdDb::FilerType::kFileFiler;
}

bool isOpenable(OdDbObjectId id)
{
    return !id.openObject(OdDb::kForRead).isNull();
}

void writeInt(OdDbDwgFiler& filer, OdString const& name, std::int32_t value)
{
    filer.wrString(name);
    filer.wrInt8(kZemIntType);
    filer.wrInt32(value);
}

/// Reads what `writeInt` has written. \return False for anything else.
bool readInt(OdDbDwgFiler& filer, OdString const& name, std::int32_t& value)
{
    if (filer.rdString() != name || filer.rdInt8() != kZemIntType) {
        return false;
    }
    value = filer.rdInt32();
    return true;
}

}  // namespace

ZemDbObjectDependency::ZemDbObjectDependency() = default;

ZemDbObjectDependency::~ZemDbObjectDependency() = default;

//--------------------------------------------------------------------------------------------------
// Path, tag and hash

OdResult ZemDbObjectDependency::getLinkObject(OdDbFullSubentPath& path, bool openErased) const
{
    assertReadEnabled();
    path.setSubentId(m_subentId);
    return m_compoundId.getFullPathEx(path.objectIds(), openErased);
}

OdDbFullSubentPath ZemDbObjectDependency::getLinkObject(bool openErased) const
{
    OdDbFullSubentPath path;
    (void)getLinkObject(path, openErased);  // a part of the path is what such a link has
    return path;
}

void ZemDbObjectDependency::setLinkObject(OdDbFullSubentPath const& path)
{
    assertWriteEnabled(true, true);
    const bool hadPath = m_compoundId.size() != 0;
    m_compoundId.setFullPath(path.objectIds(), /*keepTail=*/false);
    m_subentId = path.subentId();
    tellOwnerOfPath(hadPath);
}

/// A manager that isn't in memory has seen no path, but a former owner may have; an erased one may
/// come back.
void ZemDbObjectDependency::tellOwnerOfPath(bool hadPath) const
{
    if (objectId().isNull()) {
        return;  // nobody can list it
    }
    OdDbObjectPtr owner;
    if (ownerId().isResident()) {
        owner = ownerId().openObject(OdDb::kForRead, /*openErased=*/true);
    }
    const auto manager = ZemDbPersIdManager::cast(owner.get());
    const bool isTold = manager.isNull() ? !owner.isNull() && owner->isKindOf(ZemDbObject::desc())
                                         : manager->onLinkChanged(objectId());
    if (hadPath && !isTold) {
        s_rereads.fetch_add(1, std::memory_order_relaxed);  // a former owner may list the link
    }
}

std::uint64_t ZemDbObjectDependency::rereadRevision() noexcept
{
    return s_rereads.load(std::memory_order_relaxed);
}

OdDbObjectId ZemDbObjectDependency::getInsertId() const
{
    assertReadEnabled();
    return m_compoundId.topId();
}

ZemCompoundObjectId const& ZemDbObjectDependency::compoundId() const
{
    assertReadEnabled();
    return m_compoundId;
}

void ZemDbObjectDependency::setCompoundId(ZemCompoundObjectId const& compoundId)
{
    assertWriteEnabled(true, true);
    const bool hadPath = m_compoundId.size() != 0;
    m_compoundId = compoundId;
    tellOwnerOfPath(hadPath);
}

OdDbSubentId const& ZemDbObjectDependency::subentId() const
{
    assertReadEnabled();
    return m_subentId;
}

int ZemDbObjectDependency::entityTag() const
{
    assertReadEnabled();
    return m_entityTag;
}

void ZemDbObjectDependency::setEntityTag(int tag)
{
    assertWriteEnabled(true, true);
    m_entityTag = tag;
}

int ZemDbObjectDependency::bodyHash() const
{
    assertReadEnabled();
    return m_bodyHash;
}

void ZemDbObjectDependency::setBodyHash(int hash)
{
    assertWriteEnabled(true, true);
    m_bodyHash = hash;
}

bool ZemDbObjectDependency::isWatched() const
{
    assertReadEnabled();
    const OdDbObjectIdArray reactors = getPersistentReactors();
    return std::any_of(reactors.begin(), reactors.end(), isOpenable);
}

OdSmartPtr<ZemDbObjectDependency> ZemDbObjectDependency::clone(OdDbFullSubentPath const& path) const
{
    assertReadEnabled();
    if (desc() == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    const OdSmartPtr<ZemDbObjectDependency> link = desc()->create();
    link->setLinkObject(path);
    link->m_bodyHash = m_bodyHash;
    link->m_entityTag = m_entityTag;
    return link;
}

//--------------------------------------------------------------------------------------------------
// Bag

std::unique_ptr<ZemProperties> ZemDbObjectDependency::makeProperties() const
{
    auto* const self =
        const_cast<ZemDbObjectDependency*>(this);  // the bag writes only where we may
    auto properties = std::make_unique<ZemProperties>(/*config=*/0);
    properties->mapProperty(kTagKey, &self->m_entityTag, 0);
    properties->mapProperty(kBodyHashKey, &self->m_bodyHash, 0);
    return properties;
}

ZemProperties& ZemDbObjectDependency::properties() const
{
    if (m_properties == nullptr) {
        m_properties = makeProperties();
    }
    return *m_properties;
}

ZemProperties const& ZemDbObjectDependency::getReadProperties() const
{
    assertReadEnabled();
    return properties();
}

ZemProperties& ZemDbObjectDependency::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return properties();
}

//--------------------------------------------------------------------------------------------------
// Filing
//
// A link as operations of the filer, behind the fields of its base:
//
//     wrHardPointerId in files, wrSoftPointerId elsewhere: the first id of the path
//     if the drawing's version is 30 or above, and tag, hash or references are to be kept:
//         wrInt32 -1, wrInt32 3, the bag, the chain of ids
//     wrInt32 type of the part, wrInt32 lower half of its index
//
// Readers tell the two forms apart by the sign of the first number. Extended forms of versions up to
// 1 lack the bag; version 2 goes on with a map of texts, behind which nothing is read.

bool ZemDbObjectDependency::isPlain() const noexcept
{
    return m_entityTag == 0 && m_bodyHash == 0 && m_compoundId.isSimpleObjectId();
}

/// Writes the bag; one that nobody has asked for as what it would hold, in order of names.
void ZemDbObjectDependency::fileProperties(OdDbDwgFiler& filer) const
{
    if (m_properties != nullptr) {
        m_properties->dwgOutFields(&filer);
        return;
    }
    filer.wrInt32(kUsualItems);
    writeInt(filer, kBodyHashKey, m_bodyHash);
    writeInt(filer, kTagKey, m_entityTag);
}

void ZemDbObjectDependency::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    // A file says that the link needs what it starts from. All else takes it for a mere pointer, or a
    // clone of the link would bring that along.
    if (isFile(*filer)) {
        filer->wrHardPointerId(m_compoundId.topId());
    } else {
        filer->wrSoftPointerId(m_compoundId.topId());
    }
    if (filer->dwgVersion() >= kFirstExtendedDwgVersion && !isPlain()) {
        filer->wrInt32(kHasVersion);
        filer->wrInt32(kLinkWithBag);
        fileProperties(*filer);
        m_compoundId.dwgOutFields(filer, database());
    }
    filer->wrInt32(static_cast<std::int32_t>(m_subentId.type()));
    filer->wrInt32(static_cast<std::int32_t>(m_subentId.index()));
}

/// Reads a bag that holds tag and hash alone, as nearly all do, without making one.
/// \return False, with the filer where it was, for any other content.
bool ZemDbObjectDependency::readUsualProperties(OdDbDwgFiler& filer)
{
    const std::uint64_t start = filer.tell();
    if (filer.rdInt32() == kUsualItems && readInt(filer, kBodyHashKey, m_bodyHash) &&
        readInt(filer, kTagKey, m_entityTag)) {
        return true;
    }
    filer.seek(static_cast<std::int64_t>(start), OdDb::kSeekFromStart);
    return false;
}

/// Reads the bag, and keeps it if the stream holds more than tag and hash.
OdResult ZemDbObjectDependency::readProperties(OdDbDwgFiler& filer)
{
    if (m_properties != nullptr) {
        return m_properties->dwgInFields(&filer);
    }
    if (readUsualProperties(filer)) {
        return kOdOk;
    }
    std::unique_ptr<ZemProperties> properties = makeProperties();
    const OdResult result = properties->dwgInFields(&filer);
    if (std::any_of(properties->begin(), properties->end(),
                    [](auto const& entry) { return !entry.second->isMapped(); })) {
        m_properties = std::move(properties);
    }
    return result;
}

OdResult ZemDbObjectDependency::readOldProperties(OdDbDwgFiler& filer)
{
    ZemProperties& bag = properties();
    if (zemu::dwgInOldPropertyMap(&filer, bag) != kOdOk) {
        return kOdBadStream;
    }
    // The reader has taken out what is bound, too.
    bag.mapProperty(kTagKey, &m_entityTag, 0);
    bag.mapProperty(kBodyHashKey, &m_bodyHash, 0);
    return kOdRejectedVersion;
}

OdResult ZemDbObjectDependency::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    if (m_compoundId.size() != 0) {
        s_rereads.fetch_add(1, std::memory_order_relaxed);
    }
    const OdResult base = OdDbObject::dwgInFields(filer);
    if (base != kOdOk) {
        return base;
    }
    const OdDbObjectId topId = isFile(*filer) ? filer->rdHardPointerId() : filer->rdSoftPointerId();
    std::int32_t type = filer->rdInt32();
    std::int32_t index = filer->rdInt32();
    // Chain and part change together: half a path that was read would lead to something else.
    ZemCompoundObjectId chain = m_compoundId;
    if (type >= 0) {
        chain.setTopId(topId);
        m_entityTag = 0;
        m_bodyHash = 0;
    } else {
        const std::int32_t version = index;
        if (version > kLinkWithBag) {
            return kOdNewerLinkFormat;
        }
        if (version == kLinkWithTexts) {
            return readOldProperties(*filer);
        }
        if (version == kLinkWithBag) {
            if (const OdResult result = readProperties(*filer); result != kOdOk) {
                return result;
            }
        }
        (void)chain.dwgInFields(filer, kChainVersion);  // 0 for every version told here
        type = filer->rdInt32();
        index = filer->rdInt32();
    }
    if (type < 0 || index < 0) {
        return kOdBadStream;
    }
    m_compoundId = std::move(chain);
    m_subentId = OdDbSubentId(static_cast<OdDb::SubentType>(type), index);
    return kOdOk;
}

void ZemDbObjectDependency::appendToOwner(OdDbIdPair& /*pair*/, OdDbObject* owner,
                                          OdDbIdMapping& /*mapping*/)
{
    const auto manager = ZemDbPersIdManager::cast(owner);
    if (!manager.isNull()) {
        manager->onAppendToOwner(this);
    }
}
