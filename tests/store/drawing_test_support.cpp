#include "store/drawing_test_support.h"

#include "db/od_db_filer.h"
#include "store/od_db_file_filer.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>

RX_DEFINE_CLASS(StoreTestPart, OdDbObject, odrxCreate<StoreTestPart>, L"StoreTestPart",
                OdDb::kDwgVersionCurrent, 1, 0, L"STORE_TEST_PART", L"StoreTests");

OdResult StoreTestPart::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    name = filer->rdString();
    number = filer->rdInt32();
    if (number < 0) {
        inResult = kOdRejectedVersion;
        return inResult;
    }
    size = filer->rdDouble();
    for (double& value : values) {
        value = filer->rdDouble();
    }
    other = filer->rdSoftPointerId();
    blob.resize(odDbReadCount(*filer, 1));
    filer->rdBytes(blob.data(), static_cast<std::uint32_t>(blob.size()));
    tag = filer->dwgVersion() >= OdDb::kDwgVersion30 ? filer->rdInt32() : 0;
    return kOdOk;
}

void StoreTestPart::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrString(name);
    filer->wrInt32(number);
    filer->wrDouble(size);
    for (double value : values) {
        filer->wrDouble(value);
    }
    filer->wrSoftPointerId(other);
    filer->wrInt32(static_cast<std::int32_t>(blob.size()));
    filer->wrBytes(blob.data(), static_cast<std::uint32_t>(blob.size()));
    if (filer->dwgVersion() >= OdDb::kDwgVersion30) {
        filer->wrInt32(tag);
    }
}

TemporaryFolder::TemporaryFolder()
{
    static std::atomic<int> s_number = 0;
    m_path = std::filesystem::temp_directory_path() /
             ("zem_store_test_" + std::to_string(::getpid()) + "_" + std::to_string(++s_number));
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
}

std::vector<std::string> TemporaryFolder::names() const
{
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(m_path)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

OdString textOf(std::filesystem::path const& path)
{
    return OdString::fromUtf8(path.string());
}

std::string readFile(std::filesystem::path const& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeFile(std::filesystem::path const& path, std::string const& bytes)
{
    // Emptying a file that is written again makes some file systems wait for the disk.
    {
        std::ofstream(path, std::ios::binary | std::ios::app);
    }
    {
        std::fstream stream(path, std::ios::binary | std::ios::in | std::ios::out);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    if (std::filesystem::file_size(path) != bytes.size()) {
        std::filesystem::resize_file(path, bytes.size());
    }
}

OdDbObjectId addPart(OdDbDatabase& database, int seed, OdDbObjectId other, std::size_t blobBytes)
{
    const StoreTestPartPtr part = odrxMake<StoreTestPart>();
    const OdDbObjectId id = database.addOdDbObject(part.get());
    part->name.format(L"part %07d", seed);
    part->number = seed;
    part->size = seed * 0.1;
    for (std::size_t i = 0; i != part->values.size(); ++i) {
        part->values[i] = seed / (3.0 + static_cast<double>(i));
    }
    part->other = other;
    part->tag = seed % 100;
    part->blob.resize(blobBytes);
    for (std::size_t i = 0; i != blobBytes; ++i) {
        part->blob[i] = static_cast<std::uint8_t>((i * 31 + static_cast<std::size_t>(seed)) >> 3);
    }
    return id;
}

OdDbDatabasePtr makeDrawing(int parts)
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    OdDbObjectId last;
    for (int seed = 1; seed <= parts; ++seed) {
        last = addPart(*database, seed, last);
    }
    return database;
}

DrawingContent contentOf(OdDbDatabase& database)
{
    DrawingContent content;
    OdStaticRxObject<OdDbFileFiler> filer(&database);
    OdDbHandle handle = database.nextHandle();
    for (; !handle.isNull(); handle = database.nextHandle(handle)) {
        const OdDbObjectId id = database.getOdDbObjectId(handle);
        const OdDbObjectPtr object = id.openObject();
        if (object.isNull()) {
            continue;
        }
        filer.startRecord(OdDb::kDwgVersionCurrent);
        object->dwgOutFields(&filer);
        std::string& bytes = content[handle.value()];
        bytes.assign(filer.body().begin(), filer.body().end());
        bytes.append(filer.references().begin(), filer.references().end());
    }
    return content;
}

DrawingContent contentOf(std::filesystem::path const& path)
{
    const OdDbDatabasePtr database =
        odDbOpenDrawing(textOf(path), OdDbOpenDrawingMode::kForReading);
    return contentOf(*database);
}

testing::AssertionResult same(DrawingContent const& left, DrawingContent const& right)
{
    const auto tell = [](std::uint64_t handle, char const* what) {
        return testing::AssertionFailure()
               << "object " << OdDbHandle(handle).ascii().utf8() << what;
    };
    for (auto const& [handle, bytes] : left) {
        const auto found = right.find(handle);
        if (found == right.end()) {
            return tell(handle, " is only in the first");
        }
        if (found->second != bytes) {
            return tell(handle, " differs");
        }
    }
    for (auto const& [handle, bytes] : right) {
        if (left.count(handle) == 0) {
            return tell(handle, " is only in the second");
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult same(std::string const& left, std::string const& right)
{
    if (left == right) {
        return testing::AssertionSuccess();
    }
    const auto at = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first;
    return testing::AssertionFailure() << left.size() << " and " << right.size()
                                       << " bytes, which differ from " << at - left.begin();
}
