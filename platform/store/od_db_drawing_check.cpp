#include "store/od_db_drawing_check.h"

#include "db/od_db_proxy_object.h"
#include "store/od_db_drawing.h"

#include <unordered_map>
#include <utility>

namespace {

using Kind = OdDbDrawingFinding::Kind;

std::string hex(OdDbHandle handle)
{
    return std::string(handle.ascii().utf8());
}

char const* nameOf(OdDb::ReferenceType type) noexcept
{
    switch (type) {
    case OdDb::ReferenceType::kSoftPointerRef:
        return "soft pointer";
    case OdDb::ReferenceType::kHardPointerRef:
        return "hard pointer";
    case OdDb::ReferenceType::kSoftOwnershipRef:
        return "soft ownership";
    case OdDb::ReferenceType::kHardOwnershipRef:
        return "hard ownership";
    }
    return "reference";
}

/// One check of one drawing.
class DrawingCheck
{
public:
    DrawingCheck(OdDbDatabase& database, OdDbDrawingStore& store,
                 OdDbDrawingCheckReport const& report)
        : m_database(database), m_access(database), m_store(store), m_report(report)
    {
    }

    OdDbDrawingCheckResult run()
    {
        for (std::string const& problem : m_store.file().checkStructure()) {
            tell(Kind::kFile, /*isProblem=*/true, OdDbHandle(), problem);
        }
        checkRoots();
        checkPages();
        checkOwners();
        return m_result;
    }

private:
    void tell(Kind kind, bool isProblem, OdDbHandle handle, std::string text)
    {
        ++(isProblem ? m_result.problems : m_result.notes);
        if (m_report) {
            m_report({kind, isProblem, handle, std::move(text)});
        }
    }

    void tellObject(Kind kind, bool isProblem, OdDbHandle handle, std::string const& text)
    {
        tell(kind, isProblem, handle, "object " + hex(handle) + ": " + text);
    }

    bool isThere(OdDbHandle handle)
    {
        std::uint32_t classIndex = 0;
        return m_store.find(handle, classIndex);
    }

    void checkRoots()
    {
        OdDbByteReader reader(m_store.file().header().references);
        try {
            while (reader.left() != 0) {
                checkRoot(reader);
            }
        } catch (OdError const& error) {
            if (error.code() != kOdBadStream) {
                throw;
            }
            tell(Kind::kReference, /*isProblem=*/true, OdDbHandle(),
                 "header: its list of references can't be read to its end");
        }
    }

    void checkRoot(OdDbByteReader& reader)
    {
        std::uint8_t kind = 0;
        const OdDbHandle handle = reader.takeReference(kind);
        ++m_result.references;
        if (!handle.isNull() && !isThere(handle)) {
            tell(Kind::kReference, /*isProblem=*/true, OdDbHandle(),
                 "header: " + hex(handle) + " isn't in the drawing");
        }
    }

    // Pages are asked for by number where the way to them is damaged, so this ends even if the file's
    // structure makes no sense.
    void checkPages()
    {
        try {
            std::optional<std::uint64_t> number = m_store.nextPage(0);
            while (number) {
                checkPage(*number);
                number = m_store.nextPage(*number + 1);
            }
        } catch (OdError const& error) {
            if (error.code() != kOdFileCorrupt) {
                throw;
            }
            tell(Kind::kFile, /*isProblem=*/true, OdDbHandle(), error.what());
            return;
        }
        const std::uint64_t expected = m_store.file().header().objects;
        if (m_result.objects != expected) {
            tell(Kind::kFile, /*isProblem=*/true, OdDbHandle(),
                 std::to_string(m_result.objects) + " objects found, expected " +
                     std::to_string(expected));
        }
    }

    void checkPage(std::uint64_t number)
    {
        const std::shared_ptr<OdDbStoredPage const> page = m_store.page(number);
        if (page == nullptr) {
            return;
        }
        const OdDbHandle first = odDbHandleAt(number, 0);
        if (!page->damage.empty()) {
            tell(Kind::kPage, /*isProblem=*/true, first,
                 "objects " + hex(first) + " to " + hex(odDbHandleAt(number, kHandlesInPage - 1)) +
                     ": " + page->damage);
            return;
        }
        for (OdDbPageEntry const& entry : page->directory.entries()) {
            checkObject(*page, entry);
        }
    }

    void checkObject(OdDbStoredPage const& page, OdDbPageEntry const& entry)
    {
        const OdDbHandle handle = odDbHandleAt(page.number, entry.slot);
        ++m_result.objects;
        const std::size_t damagesBefore = m_access.damages().size();
        const OdDbObjectPtr object = m_access.idOf(handle).openObject();
        if (object.isNull()) {
            const bool isNamed = m_access.damages().size() > damagesBefore;
            tellObject(Kind::kObject, /*isProblem=*/true, handle,
                       isNamed ? m_access.damages().back().reason : "it can't be read");
            return;
        }
        const OdDbObjectState state = m_access.state(handle);
        OdString const& className = m_database.classRecord(state.classIndex).name;
        if (object->isKindOf(OdDbProxyObject::desc())) {
            tellProxy(handle, state.classIndex);
        } else if (state.partlyRead) {
            tellObject(Kind::kPartlyRead, /*isProblem=*/false, handle,
                       std::string(className.utf8()) + " has read only a part of it");
        }
        m_owners.emplace(handle.value(), object->ownerId().getHandle().value());
        checkReferences(page, entry, handle, object->ownerId().getHandle());
    }

    // A class that is registered and still has a proxy could not read the bytes.
    void tellProxy(OdDbHandle handle, std::uint32_t classIndex)
    {
        ++m_result.proxies;
        OdDbClassRecord const& record = m_database.classRecord(classIndex);
        const bool isRegistered = odrxClassDictionary()->getAt(record.name) != nullptr;
        std::string text = "its class, " + std::string(record.name.utf8());
        if (isRegistered) {
            text += ", can't read it; its bytes are kept";
        } else {
            text += " of " + std::string(record.appName.utf8()) + ", isn't loaded";
        }
        tellObject(Kind::kProxy, isRegistered, handle, text);
    }

    void checkReferences(OdDbStoredPage const& page, OdDbPageEntry const& entry, OdDbHandle handle,
                         OdDbHandle owner)
    {
        m_store.readRecord(page, entry, m_record);
        OdDbByteReader reader(m_record.references);
        try {
            while (reader.left() != 0) {
                std::uint8_t kind = 0;
                const OdDbHandle target = reader.takeReference(kind);
                ++m_result.references;
                // The owner has a line of its own.
                if (target.isNull() || target == owner || isThere(target)) {
                    continue;
                }
                const auto type = static_cast<OdDb::ReferenceType>(kind);
                tellObject(Kind::kReference, type != OdDb::ReferenceType::kSoftPointerRef, handle,
                           std::string(nameOf(type)) + " to " + hex(target) +
                               ", which isn't in the drawing");
            }
        } catch (OdError const&) {
            tellObject(Kind::kReference, /*isProblem=*/true, handle,
                       "its list of references can't be read to its end");
        }
    }

    // Walks from each object up to a root; what was walked before is good and ends the walk.
    void checkOwners()
    {
        enum class Mark : std::uint8_t
        {
            kOnWay,
            kGood
        };
        std::unordered_map<std::uint64_t, Mark> marks;
        std::vector<std::uint64_t> way;
        for (auto const& [start, firstOwner] : m_owners) {
            way.clear();
            std::uint64_t at = start;
            while (at != 0 && marks.emplace(at, Mark::kOnWay).second) {
                way.push_back(at);
                const auto found = m_owners.find(at);
                const std::uint64_t owner = found != m_owners.end() ? found->second : 0;
                if (owner != 0 && !isThere(OdDbHandle(owner))) {
                    // Erasing an object leaves what it owns; one that got lost shows in the count.
                    tellObject(Kind::kOwner, /*isProblem=*/false, OdDbHandle(at),
                               "its owner, " + hex(OdDbHandle(owner)) + ", isn't in the drawing");
                }
                at = owner;
            }
            if (at != 0 && marks.at(at) == Mark::kOnWay) {
                tellObject(Kind::kOwner, /*isProblem=*/true, OdDbHandle(at),
                           "it owns itself, through its owners");
            }
            for (std::uint64_t passed : way) {
                marks[passed] = Mark::kGood;
            }
        }
    }

    OdDbDatabase& m_database;
    OdDbStorageAccess m_access;
    OdDbDrawingStore& m_store;
    OdDbDrawingCheckReport const& m_report;
    OdDbDrawingCheckResult m_result;
    OdDbStoredRecord m_record;
    std::map<std::uint64_t, std::uint64_t> m_owners;  ///< of each object that was read
};

}  // namespace

OdDbDrawingCheckResult odDbCheckDrawing(OdString const& path, OdDbDrawingCheckReport const& report,
                                        OdDbHostAppServices* services)
{
    const OdDbDatabasePtr database =
        odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading, services);
    OdDbDrawingStore& store = *OdDbDrawingStore::of(*database);
    store.setPassesOverFaults(true);
    return DrawingCheck(*database, store, report).run();
}
