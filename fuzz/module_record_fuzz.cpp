// Reads bytes as the record of an object of each stored class of the module, as it stands in a
// drawing of a current or an older version, or in a flat stream. What was read has to come through
// writing and reading again unchanged, and whatever a failure left behind has to be writable.
//
// Input: a byte that chooses the class, a byte that chooses the filer, then for a flat stream its
// bytes, for a drawing a byte with the length of the references, the references, and the body.

#include "assoc/od_platform.h"
#include "db/od_db_database.h"
#include "root/od_assert.h"
#include "root/od_error.h"
#include "root/od_rx_module.h"
#include "store/od_db_file_filer.h"

#include "zem_db_object.h"
#include "zem_flat_filer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <span>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using FileFiler = OdStaticRxObject<OdDbFileFiler>;
using FlatFiler = OdStaticRxObject<ZemFlatFiler>;

constexpr std::size_t kHeaderBytes = 3;
constexpr int kDwgVersions[] = {OdDb::kDwgVersion29, OdDb::kDwgVersion30, OdDb::kDwgVersionCurrent};

struct Record
{
    Bytes body;
    Bytes references;

    friend bool operator==(Record const&, Record const&) = default;
};

OdDbObjectPtr makeObject(std::uint8_t choice)
{
    constexpr wchar_t const* kClasses[] = {
        L"ZemDbConstraintManager",
        L"ZemDbFeatureData",
        L"ZemDbFeatureManager",
        L"ZemDbObjectDependency",
        L"ZemDbObject",
        L"ZemDbPersIdManager",
        L"ZemDbSheetMetalContext",
        L"ZemDbFeatureReactor",
        L"ZemDbPersIdReactor",
        L"ZemDbPropertyReactor",
        L"ZemDbExpressionReactor",
        L"ZemVariableReactor",
        L"ZemDbExtensionData",
        L"ZemDbConfigurationTable",
        L"ZemDbConfigVarReactor",
    };
    return odrxCreateObject(kClasses[choice % std::size(kClasses)]);
}

/// Carries records in one of the two forms.
class Carrier
{
public:
    Carrier(OdDbDatabase& database, std::uint8_t choice)
        : m_filer(&database), m_isFlat(choice % 4 == 3), m_version(kDwgVersions[choice % 4 % 3])
    {
    }

    bool isFlat() const noexcept { return m_isFlat; }

    /// \return Whether the whole record could be read.
    bool read(OdDbObject& object, std::span<std::uint8_t const> body,
              std::span<std::uint8_t const> references)
    {
        try {
            if (m_isFlat) {
                FlatFiler filer;
                filer.setBinaryData(std::vector<char>(body.begin(), body.end()));
                return object.dwgInFields(&filer) == kOdOk;
            }
            m_filer.readFrom(body, references, m_version);
            return object.dwgInFields(&m_filer) == kOdOk;
        } catch (OdError const&) {
            return false;  // a drawing would carry the bytes unread
        }
    }

    Record write(OdDbObject const& object)
    {
        if (m_isFlat) {
            FlatFiler filer;
            filer.clear();
            object.dwgOutFields(&filer);
            const std::vector<char> data = filer.getBinaryData();
            return {{data.begin(), data.end()}, {}};
        }
        m_filer.startRecord(m_version);
        object.dwgOutFields(&m_filer);
        return {{m_filer.body().begin(), m_filer.body().end()},
                {m_filer.references().begin(), m_filer.references().end()}};
    }

private:
    FileFiler m_filer;
    bool m_isFlat;
    int m_version;
};

/// Whether a record comes through reading and writing unchanged.
bool isStable(std::uint8_t choice, Carrier& carrier, Record const& record)
{
    const OdDbObjectPtr object = makeObject(choice);
    return carrier.read(*object, record.body, record.references) &&
           carrier.write(*object) == record;
}

/// What is left of a record when a model object has read it: its writer has no letter for the rare
/// types of parts that its reader knows, so the first record that it writes may still change.
Record settled(std::uint8_t choice, Carrier& carrier, Record const& record)
{
    const OdDbObjectPtr object = makeObject(choice);
    if (!carrier.read(*object, record.body, record.references)) {
        std::abort();
    }
    return carrier.write(*object);
}

void testRecord(std::uint8_t choice, Carrier& carrier, std::span<std::uint8_t const> body,
                std::span<std::uint8_t const> references)
{
    const OdDbObjectPtr object = makeObject(choice);
    const bool isRead = carrier.read(*object, body, references);
    const Record written = carrier.write(*object);
    if (!isRead) {
        return;
    }
    const bool isModelObject = object->isKindOf(ZemDbObject::desc());
    if (!isStable(choice, carrier, isModelObject ? settled(choice, carrier, written) : written)) {
        std::abort();
    }
}

OdRxModule& startModule()
{
    OdRxModule* const module = odrxCreateModuleObject(nullptr, L"zem_db");
    module->initApp();
    odSetAssertSink([](OdAssertReport const&) {});
    return *module;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const OdPlatform s_platform;
    static OdRxModule& s_module = startModule();
    (void)s_module;
    if (size < kHeaderBytes) {
        return 0;
    }
    const OdDbDatabasePtr database = OdDbDatabase::createBare();
    Carrier carrier(*database, data[1]);
    const std::span<std::uint8_t const> rest(data + kHeaderBytes, size - kHeaderBytes);
    const std::size_t count = carrier.isFlat() ? 0 : std::min<std::size_t>(data[2], rest.size());
    testRecord(data[0], carrier, rest.subspan(count), rest.first(count));
    return 0;
}
