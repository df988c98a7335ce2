// Writes a database's objects into a drawing file, all of them or those that have changed.

#pragma once

#include "store/od_db_drawing_store.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

/// Told now and then how far a save has come, in pages; an exception out of it ends the save, and
/// nothing is saved then.
using OdDbSaveProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Composes the pages of one save.
///
/// A page is put together of the objects in memory and of the records that are stored. What is
/// stored and unchanged is copied byte for byte, with any damage, so that nothing more is lost; so
/// are records that the program understood in part or not at all, which keep the version that they
/// were filed for. Where a record became unreadable after its object was loaded, the object in memory
/// takes its place; a save in place doesn't look for that in records outside of their pages. Objects
/// that are erased go. Used for one save.
class OdDbDrawingWriter
{
public:
    /// \param source      What the database was loaded from; null for a new drawing.
    /// \param target      The source's own file, or an empty one; a save of it is under way.
    /// \param dwgVersion  The version to file for.
    OdDbDrawingWriter(OdDbDatabase& database, OdDbDrawingStore* source, OdDbDrawingFile& target,
                      int dwgVersion);
    OdDbDrawingWriter(OdDbDrawingWriter const&) = delete;
    OdDbDrawingWriter& operator=(OdDbDrawingWriter const&) = delete;

    /// Writes what has changed since the last save into the source's own file.
    void writeChanges(OdDbSaveProgress const& progress);
    /// Writes everything into an empty file. Classes are numbered in order of their first use.
    void writeAll(OdDbSaveProgress const& progress);
    /// Tells the source what `writeChanges` has written; called when it is committed.
    void noteWritten();
    /// Gives the pages that `writeAll` has written of which something is in memory.
    std::vector<OdDbWrittenPage> takeWrittenPages() noexcept { return std::move(m_written); }

private:
    /// Classes are the same by their number in the database; each damaged one is its own.
    struct ClassKey
    {
        bool isDamaged = false;
        std::uint32_t number = 0;

        friend auto operator<=>(ClassKey const&, ClassKey const&) = default;
    };
    struct NewClass
    {
        OdDbFileClass fileClass;
        std::uint32_t index = 0;
    };

    void findListers();
    void findListersIn(std::uint64_t number);
    void noteLister(OdDbObjectId id);
    bool isListedAnew(OdDbHandle handle) const { return m_listers.count(handle.value()) != 0; }
    template <class Work>
    void namingPage(std::uint64_t number, Work const& work);
    void noteWrittenPage();
    void composeAndWrite(std::uint64_t number, bool isInMemory);
    void writeLostPage(OdDbStoredPage const& page, bool isInMemory);
    bool isAnyInMemory(std::uint64_t number) const;
    bool composeLostPage(std::uint64_t number);
    void composePage(std::uint64_t number, OdDbStoredPage const* stored, bool isInMemory);
    void composeObject(OdDbHandle handle, OdDbStoredPage const* stored, bool isInMemory);
    bool mustFile(OdDbObjectState const& state, OdDbPageEntry const* entry, bool mustBeFiled);
    bool isOutOfReach(OdDbStoredPage const& page, OdDbPageEntry const& entry);
    bool needsOtherVersion(OdDbPageEntry const& entry) const;
    void fileObject(OdDbHandle handle, OdDbObjectState const& state, OdDbPageEntry const* entry);
    bool copyRecord(OdDbStoredPage const& page, OdDbPageEntry const& entry, bool isReplaceable);
    bool copyOutside(OdDbStoredPage const& page, OdDbPageEntry& entry, bool isReplaceable);
    void dropOutside(OdDbHandle handle, OdDbPageEntry const* entry);
    std::uint32_t classNumber(ClassKey key, OdDbFileClass const& fileClass);
    std::uint32_t classNumberOf(std::uint32_t index);
    void noteRenewedClass(std::uint32_t number, std::uint32_t index, OdDbClassRecord const& record);
    std::uint32_t copiedClassNumber(std::uint32_t number);
    std::vector<std::uint64_t> pagesToWrite() const;
    void writeClasses();
    void writeHeader(std::uint64_t saves);
    int ownVersion(int version) const noexcept { return version != m_dwgVersion ? version : 0; }
    bool isIncremental() const noexcept { return m_isIncremental; }

    OdDbDatabase& m_database;
    OdDbStorageAccess m_access;
    OdDbDrawingStore* m_source;
    OdDbDrawingFile& m_target;
    int m_dwgVersion;
    bool m_isIncremental = false;
    OdStaticRxObject<OdDbFileFiler> m_filer;
    OdDbPageWriter m_page;
    OdDbStoredRecord m_record;
    std::map<ClassKey, std::uint32_t> m_classNumbers;
    std::uint32_t m_lastClassNumber = 0;
    std::uint32_t m_recentIndex = 0;   ///< database number of the class that was filed last
    std::uint32_t m_recentNumber = 0;  ///< its number in the file; 0 if there was none
    /// Objects that own or show one which has come or gone, by handle: what they list depends on it.
    std::set<std::uint64_t> m_listers;
    std::vector<NewClass> m_newClasses;
    std::map<std::uint32_t, NewClass> m_renewedClasses;  ///< rows that are written anew, by number
    std::vector<OdDbWrittenPage> m_written;
    std::uint64_t m_resident = 0;  ///< slots of the page that are in memory
    OdDbDrawingHeader m_header;
};
