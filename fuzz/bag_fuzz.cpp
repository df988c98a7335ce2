// Reads bytes as the flat stream of a property bag. What was read has to come through writing and
// reading again unchanged, and whatever a failure left behind has to be writable.
//
// Input: a byte of config bits, a byte with the version, then the stream.

#include "db/od_db_platform.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include "zem_flat_filer.h"
#include "zem_properties.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kHeaderBytes = 2;

/// A bag with an entry bound in each way, as the module's classes bind theirs.
struct Holder
{
    Holder(int config, int version) : bag(config)
    {
        bag.setVersion(version);
        bag.mapProperty(L"array", &array);
        bag.mapProperty(L"count", &count, 3);
        bag.mapProperty(L"flags", &flags);
        bag.mapProperty<OdString>(
            L"text", [this] { return text; }, [this](OdString value) { text = value; }, L"none");
        bag.mapProperty(L"target", &target, OdDb::ReferenceType::kHardPointerRef);
        bag.mapProperty(L"targets", &targets, OdDb::ReferenceType::kSoftPointerRef);
    }

    ZemPropertyArray<OdString> array;
    int count = 0;
    std::map<OdDbTypedId, bool> flags;
    OdString text;
    OdDbObjectId target;
    OdDbObjectIdArray targets;
    ZemProperties bag;
};

/// \return Whether the whole stream was read.
bool read(Holder& holder, std::vector<char> data)
{
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.setBinaryData(std::move(data));
    try {
        return holder.bag.dwgInFields(&filer) == kOdOk;
    } catch (OdError const& error) {
        if (error.code() != kOdBadStream) {
            std::abort();
        }
        return false;
    }
}

std::vector<char> write(Holder const& holder)
{
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.clear();
    holder.bag.dwgOutFields(&filer);
    return filer.getBinaryData();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const OdDbPlatform s_platform;
    static const bool s_isQuiet = (odSetAssertSink([](OdAssertReport const&) {}), true);
    (void)s_isQuiet;
    if (size < kHeaderBytes) {
        return 0;
    }
    const int config = data[0] & (kZemPropsDropErasedIds | kZemPropsOmitDefaults);
    const int version = data[1];
    Holder first(config, version);
    const bool isRead = read(first, std::vector<char>(data + kHeaderBytes, data + size));
    const std::vector<char> written = write(first);
    if (!isRead) {
        return 0;
    }
    Holder second(config, version);
    if (!read(second, written) || write(second) != written) {
        std::abort();
    }
    return 0;
}
