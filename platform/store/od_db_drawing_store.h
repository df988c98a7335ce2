// Serves the objects of a drawing file to its database.

#pragma once

#include "db/od_db_object_store.h"
#include "store/od_db_drawing_file.h"
#include "store/od_db_file_filer.h"
#include "store/od_db_page.h"

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

/// A page as it was read.
struct OdDbStoredPage
{
    std::uint64_t number = 0;
    OdDbPageBytes bytes;
    OdDbPageDirectory directory;
    std::string damage;  ///< why none of its objects can be read; empty if they can
};

/// A record taken out of its page.
struct OdDbStoredRecord
{
    std::span<std::uint8_t const> body;
    std::span<std::uint8_t const> references;
    std::vector<std::uint8_t> outside;  ///< the bytes, if they lie outside of the page
    std::string damage;                 ///< why it can't be read; empty if it can
};

/// What a save has written of a page.
struct OdDbWrittenPage
{
    std::uint64_t number = 0;
    std::uint64_t resident = 0;           ///< slots whose objects are in memory
    std::vector<std::uint8_t> directory;  ///< as it is stored; empty if the page was removed
};

/// The carrier between a database and its drawing file.
///
/// Pages are read when one of their objects is asked for and kept as long as they hold objects that
/// were not loaded, the latest up to a bound. What objects there are is kept for each page that was
/// ever looked at, in a few bytes. Not thread-safe, as the database.
class OdDbDrawingStore final : public OdDbObjectStore
{
public:
    /// Bytes of pages that are kept.
    static constexpr std::size_t kCacheBytes = std::size_t{64} << 20;

    /// Enters the file's classes into the database.
    OdDbDrawingStore(OdDbDatabase& database, std::unique_ptr<OdDbDrawingFile> file);
    ~OdDbDrawingStore() override;

    bool find(OdDbHandle handle, std::uint32_t& classIndex) override;
    bool beginLoad(OdDbHandle handle, OdDbStoredObject& object) override;
    void endLoad() override;
    OdDbHandle nextHandle(OdDbHandle after) override;

    OdDbDrawingFile& file() noexcept { return *m_file; }
    /// The store of a database; null if it has none, or one that is no drawing file.
    static OdDbDrawingStore* of(OdDbDatabase& database);

    /// \name For saving and checking
    /// @{
    /// A class of the file, by its number there.
    struct FileClass
    {
        OdDbFileClass stored;
        std::uint32_t index = 0;  ///< number in the database
        std::string damage;       ///< why its objects can't be read; empty if they can
    };
    FileClass const& classAt(std::uint32_t number);
    /// As `classAt`; null for a class that the file doesn't list.
    FileClass const* findClass(std::uint32_t number) const;
    /// All classes that the file lists, by number.
    std::vector<FileClass const*> classes() const;
    /// The version that an entry's record was filed for.
    int versionOf(OdDbPageEntry const& entry) const noexcept;
    /// A page; null if there is none.
    std::shared_ptr<OdDbStoredPage const> page(std::uint64_t number);
    /// The least number from `from` on of a page that is there, or that can't be told.
    std::optional<std::uint64_t> nextPage(std::uint64_t from);
    /// Takes a record out of its page and checks it. The spans live as long as `page` and `record`.
    void readRecord(OdDbStoredPage const& page, OdDbPageEntry const& entry,
                    OdDbStoredRecord& record);
    /// Whether objects in a place that the disk doesn't give back count as damaged ones, instead of
    /// ending the save.
    void setPassesOverFaults(bool passesOver) noexcept { m_file->setPassesOverFaults(passesOver); }
    /// What the file's settings hold behind the fields that are known; carried through saves.
    OdDbStoredBody const& moreSettings() const noexcept { return m_moreSettings; }
    void setMoreSettings(OdDbStoredBody more) { m_moreSettings = std::move(more); }
    /// Whether the objects of a page can't be told.
    bool isPageDamaged(std::uint64_t number);
    /// The least handle that no object has and that lies in no damaged page; the header's, unless
    /// that is wrong.
    OdDbHandle firstFreeHandle();
    /// What was known of a page before it became unreadable: a bit for each object, 0 if nothing is.
    std::uint64_t lastKnownMask(std::uint64_t number) const;
    /// The class of an object of such a page, by its number in the database.
    std::uint32_t lastKnownClass(OdDbHandle handle) const;
    /// Tells that a page was written anew. Should it become unreadable, this is what is known of it.
    void notePageWritten(OdDbWrittenPage const& written);
    /// Forgets what was read while a save was under way that has failed.
    void noteSaveFailed();
    void noteClassWritten(OdDbFileClass const& fileClass, std::uint32_t index);
    /// @}

private:
    /// What is known of a page.
    struct PageState
    {
        std::uint64_t mask = 0;
        std::uint64_t loaded = 0;  ///< slots whose objects were loaded
        std::uint32_t commonClass = 0;
        bool isKnown = false;
        bool isDamaged = false;
        std::vector<std::uint32_t> classes;  ///< of each object, unless all have `commonClass`
        std::shared_ptr<OdDbStoredPage const> page;
        std::list<std::uint64_t>::iterator age;  ///< place in `m_ages`, if there is a page
    };
    /// An object being loaded.
    struct Load
    {
        explicit Load(OdDbDatabase* database) : filer(database) {}

        OdStaticRxObject<OdDbFileFiler> filer;
        std::shared_ptr<OdDbStoredPage const> page;
        OdDbStoredRecord record;
        unsigned slot = 0;
    };

    template <class Read>
    bool readingFor(OdDbHandle handle, Read const& read);
    bool findStored(OdDbHandle handle, std::uint32_t& classIndex);
    bool startLoad(OdDbHandle handle, OdDbStoredObject& object);
    static std::uint32_t classIn(PageState const& state, unsigned slot) noexcept;
    PageState* summary(std::uint64_t number);
    /// Slots of a page up to the last one that is in use.
    std::uint64_t usedSlots(std::uint64_t number);
    PageState* withPage(std::uint64_t number);
    PageState* readState(std::uint64_t number, PageState* state);
    void summarise(PageState& state, OdDbPageDirectory const& directory);
    void keep(PageState& state, std::uint64_t number);
    void drop(PageState& state);
    void trim();
    bool mayHoldLostObject(OdDbHandle handle) const noexcept;
    FileClass& enterClass(OdDbFileClass const& fileClass);
    std::uint32_t unknownClass();

    OdDbDatabase& m_database;
    std::unique_ptr<OdDbDrawingFile> m_file;
    std::uint64_t m_lastPage = kLastPage;
    std::unordered_map<std::uint32_t, FileClass> m_classes;
    std::unordered_map<std::uint64_t, PageState> m_pages;
    std::list<std::uint64_t> m_ages;  ///< pages that are kept, the latest used last
    std::size_t m_keptBytes = 0;
    std::uint64_t m_currentNumber = ~std::uint64_t{0};  ///< no page has this number
    PageState* m_current = nullptr;                     ///< the page used last
    std::vector<std::unique_ptr<Load>> m_loads;         ///< those up to `m_depth` are under way
    std::size_t m_depth = 0;
    std::size_t m_lostPages = 0;
    OdDbStoredBody m_moreSettings;
};
