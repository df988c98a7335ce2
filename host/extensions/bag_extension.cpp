#include "extensions/bag_extension.h"

#include "db/od_db_dictionary.h"
#include "extensions/bag_values.h"
#include "root/od_error.h"

#include "protocol/host_error.h"
#include "zem_database_utils.h"
#include "zem_db_extension_data.h"
#include "zem_properties.h"

#include <optional>

namespace zemhost {

namespace {

using Json = BagJson;

std::string utf8(OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    return bytes;
}

std::string nameOf(OdDbObject const& object)
{
    return "object " + utf8(object.handle().ascii());
}

/// Bytes of the chunks behind the application's name; nothing if there are none, which is how an
/// object looks whose bag lies in its extension dictionary.
std::optional<std::uint64_t> extendedDataBytes(OdDbObject const& object)
{
    const OdResBufPtr chain = object.xData(s_zemDbAppName);
    if (chain.isNull() || chain->next().isNull() ||
        chain->next()->restype() != OdResBuf::kXdBinary) {
        return std::nullopt;
    }
    std::uint64_t bytes = 0;
    for (OdResBufPtr at = chain->next(); !at.isNull() && at->restype() == OdResBuf::kXdBinary;
         at = at->next()) {
        bytes += at->getBinaryChunk().size();
    }
    return bytes;
}

OdSmartPtr<ZemDbExtensionData> openExtensionData(OdDbObject const& object, OdDb::OpenMode mode)
{
    const OdDbDictionaryPtr dictionary =
        OdDbDictionary::cast(object.extensionDictionary().openObject().get());
    if (dictionary.isNull()) {
        return {};
    }
    return ZemDbExtensionData::cast(dictionary->getAt(s_zemDbAppName, mode).get());
}

std::optional<std::uint64_t> dictionaryBytes(OdDbObject const& object)
{
    const OdSmartPtr<ZemDbExtensionData> data = openExtensionData(object, OdDb::kForRead);
    std::vector<char> blob;
    if (data.isNull() || !data->getReadProperties().getProperty(s_zemDbAppName, blob)) {
        return std::nullopt;
    }
    return blob.size();
}

/// Whether there is extension data that can't be read; what it holds nobody knows.
bool isExtensionDataDamaged(OdDbObject const& object)
{
    const OdDbDictionaryPtr dictionary =
        OdDbDictionary::cast(object.extensionDictionary().openObject().get());
    const OdDbObjectId data =
        dictionary.isNull() ? OdDbObjectId::kNull : dictionary->getAt(s_zemDbAppName);
    return !data.isNull() && data.openObject().isNull();
}

BagForm formOf(OdDbObject const& object)
{
    if (const auto bytes = extendedDataBytes(object)) {
        return {BagPlace::kExtendedData, *bytes};
    }
    if (const auto bytes = dictionaryBytes(object)) {
        return {BagPlace::kExtensionDictionary, *bytes};
    }
    if (isExtensionDataDamaged(object)) {
        return {BagPlace::kExtensionDictionary, 0};
    }
    return {};
}

/// Reads the bag of an object; one that isn't there leaves it empty.
void readBag(OdDbObject const& object, ZemProperties& bag)
{
    if (!bag.readFromDbObject(&object) && formOf(object).place != BagPlace::kNone) {
        throw HostError(ExitCode::kFindings, nameOf(object), "its bag is damaged and can't be read",
                        "'zemhost bag remove' with --all takes it away");
    }
}

/// Removes what a longer bag has left in the extension dictionary. Extended data goes before it, so
/// it is dead; other data that is kept there stays.
void removeDictionaryForm(OdDbObject& object)
{
    OdSmartPtr<ZemDbExtensionData> data = openExtensionData(object, OdDb::kForWrite);
    if (data.isNull() || !data->getWriteProperties().removeProperty(s_zemDbAppName)) {
        return;
    }
    if (data->getReadProperties().isEmpty()) {
        (void)data->erase();  // an object that nobody watches can't refuse
        data.release();
        (void)object.releaseExtensionDictionary();  // stays if it holds anything else
    }
}

void writeBag(OdDbObject& object, ZemProperties const& bag)
{
    bag.writeToDbObject(&object);
    if (extendedDataBytes(object)) {
        removeDictionaryForm(object);
    }
}

void checkName(std::string const& name)
{
    if (name.empty()) {
        throw HostError(ExitCode::kUsage, "", "a value needs a name", "");
    }
    if (kClassVersionKey == name.c_str()) {
        throw HostError(ExitCode::kUsage, name, "every bag keeps its version under this name",
                        "choose another");
    }
}

Json entriesOf(ZemProperties const& bag)
{
    Json entries = Json::object();
    for (auto const& [name, node] : bag) {
        entries.emplace(utf8(name), bagValueToJson(*node));
    }
    return entries;
}

/// Fills an empty bag.
void storeEntries(ZemProperties& bag, Json const& entries)
{
    if (!entries.is_object()) {
        throw HostError(ExitCode::kUsage, "", "a bag is an object of values by name", "");
    }
    for (auto const& [name, value] : entries.items()) {
        checkName(name);
        (void)storeBagValue(bag, name, value);  // no name stands in the bag yet
    }
}

const OdString kHostDataDictionary(L"ZEMHOST_DATA");
const OdString kDataKey(L"bytes");

/// The host's data of a name; made for writing, null for reading if there is none.
OdSmartPtr<ZemDbExtensionData> openHostData(OdDbObject const& object, OdString const& name,
                                            OdDb::OpenMode mode)
{
    OdRxClass const* const made = mode == OdDb::kForWrite ? ZemDbExtensionData::desc() : nullptr;
    const OdDbObjectId id =
        zemu::getObjInExtDict(object.objectId(), name, made, &kHostDataDictionary);
    OdSmartPtr<ZemDbExtensionData> data = ZemDbExtensionData::cast(id.openObject(mode).get());
    if (data.isNull() && !id.isNull()) {
        throw HostError(ExitCode::kFindings, nameOf(object),
                        "its " + utf8(name) + " is damaged and can't be read",
                        "'zemhost check' tells more");
    }
    return data;
}

}  // namespace

BagForm BagExtension::form(OdDbObject const& object) const
{
    return formOf(object);
}

Json BagExtension::read(OdDbObject const& object) const
{
    ZemProperties bag;
    readBag(object, bag);
    return entriesOf(bag);
}

Json BagExtension::canonical(Json const& entries) const
{
    ZemProperties bag;
    storeEntries(bag, entries);
    return entriesOf(bag);
}

Json BagExtension::readTypes(OdDbObject const& object) const
{
    ZemProperties bag;
    readBag(object, bag);
    Json types = Json::object();
    for (auto const& [name, node] : bag) {
        types.emplace(utf8(name), bagTypeName(*node));
    }
    return types;
}

void BagExtension::set(OdDbObject& object, std::string const& name, Json const& value,
                       bool retype) const
{
    checkName(name);
    ZemProperties bag;
    readBag(object, bag);
    if (storeBagValue(bag, name, value)) {
        writeBag(object, bag);
        return;
    }
    const OdString key = OdString::fromUtf8(name);
    if (!retype) {
        throw HostError(ExitCode::kUsage, name,
                        "holds a value of type " + bagTypeName(*bag.getProperty(key)),
                        "give that type, or --retype to change it");
    }
    bag.removeProperty(key);
    (void)storeBagValue(bag, name, value);  // nothing is left that it could differ from
    writeBag(object, bag);
}

void BagExtension::replace(OdDbObject& object, Json const& entries) const
{
    ZemProperties bag;
    storeEntries(bag, entries);
    writeBag(object, bag);
}

bool BagExtension::remove(OdDbObject& object, std::string const& name) const
{
    ZemProperties bag;
    readBag(object, bag);
    if (!bag.removeProperty(OdString::fromUtf8(name))) {
        return false;
    }
    writeBag(object, bag);
    return true;
}

OdBinaryData BagExtension::data(OdDbObject const& object, OdString const& name) const
{
    const OdSmartPtr<ZemDbExtensionData> kept = openHostData(object, name, OdDb::kForRead);
    std::vector<char> bytes;
    if (!kept.isNull()) {
        (void)kept->getReadProperties().getProperty(kDataKey, bytes);
    }
    return OdBinaryData(bytes.begin(), bytes.end());
}

void BagExtension::setData(OdDbObject const& object, OdString const& name,
                           OdBinaryData const& bytes) const
{
    const OdSmartPtr<ZemDbExtensionData> kept = openHostData(object, name, OdDb::kForWrite);
    if (kept.isNull()) {
        throw OdError(kOdNotInDatabase);  // nothing can be kept with such an object
    }
    ZemProperties& bag = kept->getWriteProperties();
    bag.removeProperty(kDataKey);  // one of another type would refuse the bytes
    bag.setProperty(kDataKey, std::vector<char>(bytes.begin(), bytes.end()));
}

}  // namespace zemhost
