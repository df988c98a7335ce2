#include "zem_db_extension_data.h"

#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "root/od_error.h"

#include "zem_db_class_info.h"
#include "zem_flat_filer.h"
#include "zem_protocol_extensions.h"

ZEM_DEFINE_DB_CLASS(ZemDbExtensionData, OdDbObject, L"ZemDbExtensionData", L"ZEMDBEXTENSIONDATA",
                    kZemAppExtensionData);

namespace {

/// Place of the extension data in the extension dictionary of its host object.
const OdString s_extensionDataKey(L"ZEM_DB");

OdDbDictionaryPtr openExtensionDictionary(OdDbObject const* object, OdDb::OpenMode mode)
{
    return OdDbDictionary::cast(object->extensionDictionary().openObject(mode).get());
}

/// A bag of the object's own, reached through the extension that the host attached; null if the
/// object has none.
ZemProperties* ownProperties(OdDbObject* object)
{
    const OdSmartPtr<ZemPropertiesPE> extension = ZemPropertiesPE::cast(object);
    return extension.isNull() ? nullptr : extension->getProperties(object);
}

std::vector<char> serialise(OdDbObject const& source)
{
    OdRxClass const* sourceClass = source.isA();
    if (sourceClass == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.clear();
    filer.wrString(sourceClass->name());
    source.dwgOutFields(&filer);
    return filer.getBinaryData();
}

/// Null for a class that isn't there and for content that the class refuses.
/// \throws OdError for anything else that is wrong with the blob.
OdDbObjectPtr deserialise(std::vector<char>&& blob)
{
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.setBinaryData(std::move(blob));
    OdDbObjectPtr result = odrxCreateObject(filer.rdString());
    if (result.isNull() || result->dwgInFields(&filer) != kOdOk) {
        return OdDbObjectPtr();
    }
    return result;
}

}  // namespace

ZemDbExtensionData::ZemDbExtensionData() : m_impl(std::make_unique<ZemDbExtensionDataImpl>()) {}

ZemDbExtensionData::~ZemDbExtensionData() = default;

ZemProperties const& ZemDbExtensionData::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbExtensionData::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbExtensionData::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbExtensionData::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

ZemDbExtensionDataImpl::ZemDbExtensionDataImpl() : ZemDbPropertiesBase(/*config=*/0, /*version=*/0)
{
}

OdDbObjectId ZemDbExtensionDataImpl::getObjInExtDict(OdDbObject* object, bool create)
{
    if (object == nullptr) {
        return OdDbObjectId::kNull;
    }
    if (create && object->extensionDictionary().isNull()) {
        object->createExtensionDictionary();
    }
    const OdDbDictionaryPtr dictionary = openExtensionDictionary(object, OdDb::kForRead);
    if (dictionary.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId found = dictionary->getAt(s_extensionDataKey);
    if (!found.isNull() || !create) {
        return found;
    }
    if (ZemDbExtensionData::desc() == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    const OdSmartPtr<ZemDbExtensionData> data = ZemDbExtensionData::desc()->create();
    OdDbObjectId made;
    dictionary->upgradeOpen();
    try {
        // Whoever is told of the change may make the data himself.
        made = dictionary->getOrSetAt(s_extensionDataKey, data.get());
    } catch (...) {
        dictionary->downgradeOpen();
        throw;
    }
    dictionary->downgradeOpen();
    return made;
}

void ZemDbExtensionDataImpl::writeToDictionary(OdDbObject* object, std::vector<char> const& blob,
                                               OdString const& key)
{
    if (object == nullptr || key.isEmpty()) {
        return;
    }
    const OdDbDatabasePtr keptAlive(object->database());  // a reactor may hold the last pointer
    const OdDbObjectId id = getObjInExtDict(object, true);
    const OdSmartPtr<ZemDbExtensionData> data = id.safeOpenObject(OdDb::kForWrite);
    ZemProperties& bag = data->getWriteProperties();
    if (!bag.setProperty(key, blob)) {
        // A value of another type is no blob that anyone could read, so it makes way.
        bag.removeProperty(key);
        bag.setProperty(key, blob);
    }
}

bool ZemDbExtensionDataImpl::readFromDictionary(OdDbObject const* object, std::vector<char>& blob,
                                                OdString const& key)
{
    if (object == nullptr || key.isEmpty()) {
        return false;
    }
    // Nothing is made without `create`, so the object stays as it is.
    const OdDbObjectId id = getObjInExtDict(const_cast<OdDbObject*>(object), false);
    const auto data = ZemDbExtensionData::cast(id.openObject(OdDb::kForRead).get());
    return !data.isNull() && data->getReadProperties().getProperty(key, blob);
}

void ZemDbExtensionDataImpl::eraseFromDictionary(OdDbObject* object, OdString const& key)
{
    if (object == nullptr || key.isEmpty()) {
        return;
    }
    const OdDbDictionaryPtr dictionary = openExtensionDictionary(object, OdDb::kForWrite);
    if (dictionary.isNull() || !dictionary->has(s_extensionDataKey)) {
        return;
    }
    const OdDbObjectPtr data = dictionary->getAt(s_extensionDataKey, OdDb::kForWrite);
    if (data.isNull()) {
        // Data that can't be read has no object to erase, but its entry must go all the same.
        (void)dictionary->remove(s_extensionDataKey);
    } else if (data->erase(true) != kOdOk && !data->isErased()) {
        return;
    }
    if (dictionary->numEntries() == 0) {
        // A refusal leaves an empty dictionary, which does no harm.
        (void)dictionary->erase(true);
    }
}

void ZemWriteSerializedObject(OdRxClass* key, OdDbObject const* source, OdDbObject* target)
{
    if (key == nullptr || target == nullptr || target->database() == nullptr) {
        return;
    }
    const OdString name = key->name();
    ZemProperties* const own = ownProperties(target);
    if (own != nullptr) {
        // Checked first, so that a refusal leaves neither of the two places changed.
        target->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    }
    if (source == nullptr) {
        ZemDbExtensionDataImpl::eraseFromDictionary(target, name);
        if (own != nullptr) {
            target->assertWriteEnabled(true, true);
            own->removeProperty(name);
        }
        return;
    }
    const std::vector<char> blob = serialise(*source);
    if (own == nullptr) {
        ZemDbExtensionDataImpl::writeToDictionary(target, blob, name);
        return;
    }
    target->assertWriteEnabled(true, true);
    if (!own->setProperty(name, blob)) {
        // An entry of another type stands in the way.
        own->removeProperty(name);
        if (!own->setProperty(name, blob)) {
            return;
        }
    }
    ZemDbExtensionDataImpl::eraseFromDictionary(target, name);
}

OdDbObjectPtr ZemReadSerializedObject(OdRxClass* key, OdDbObject const* object)
{
    if (key == nullptr || object == nullptr) {
        return OdDbObjectPtr();
    }
    const OdString name = key->name();
    std::vector<char> blob;
    // The extension is asked for the bag alone, which is only read here.
    ZemProperties const* const own = ownProperties(const_cast<OdDbObject*>(object));
    if ((own == nullptr || !own->getProperty(name, blob)) &&
        !ZemDbExtensionDataImpl::readFromDictionary(object, blob, name)) {
        return OdDbObjectPtr();
    }
    try {
        return deserialise(std::move(blob));
    } catch (OdError const&) {
        // A blob comes from a file: what can't be read is the same as what isn't there.
        return OdDbObjectPtr();
    }
}

OdDbObjectPtr ZemReadSerializedObject(OdString const& className, OdDbObject const* object)
{
    return ZemReadSerializedObject(odrxClassDictionary()->getAt(className), object);
}
