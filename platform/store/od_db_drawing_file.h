// A drawing's file: its tables, its lock, and the changes of one save.

#pragma once

#include "db/od_db_class_record.h"
#include "db/od_db_handle.h"
#include "store/od_db_sqlite.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Numbers of the file format that the whole file carries; see docs/file-format.md.
constexpr std::uint32_t kDrawingApplicationId = 0x5A445257;  // "ZDRW"
constexpr std::uint32_t kDrawingFormat = 1;

/// How a drawing is opened.
enum class OdDbOpenDrawingMode : std::uint8_t
{
    kForReading,
    kForWriting
};

/// What the file says of the drawing as a whole.
struct OdDbDrawingHeader
{
    int dwgVersion = 0;
    std::uint64_t handseed = 1;
    std::uint64_t saves = 0;    ///< incremental saves since the file was made
    std::uint64_t classes = 0;  ///< rows of each table, so that lost ones are missed
    std::uint64_t pages = 0;
    std::uint64_t outside = 0;
    std::uint64_t objects = 0;       ///< in all pages together
    std::vector<std::uint8_t> body;  ///< settings of the drawing
    std::vector<std::uint8_t> references;

    friend bool operator==(OdDbDrawingHeader const&, OdDbDrawingHeader const&) = default;
};

/// A class as the file lists it.
struct OdDbFileClass
{
    std::uint32_t number = 0;
    OdDbClassRecord record;
    bool isDamaged = false;  ///< its checksum differs, so nobody can tell what its objects are
};

/// The two values of a stored page; kept from one reading to the next.
struct OdDbPageBytes
{
    std::vector<std::uint8_t> directory;
    std::vector<std::uint8_t> records;
};

/// How the reading of a part of the file ended.
enum class OdDbPartState : std::uint8_t
{
    kAbsent,
    kRead,
    kUnreadable  ///< the file is damaged there
};

/// An open drawing file.
///
/// **Locks.** A file opened for writing keeps a write transaction open, so that nobody else can;
/// others may read. A file opened for reading holds no lock between calls, and each call that reads
/// finds out whether the file was saved meanwhile.
///
/// **Faults of the disk.** After a read that failed the lock is taken back at once; a save under way is
/// lost and fails, however its caller goes on. The failure is an OdDbReadFault.
///
/// **Saving.** `beginSave`, the changes, then `commitSave`, or `rollbackSave` after any failure. The
/// lock changes hands for a moment in `commitSave`; if another process takes it there, the save has
/// succeeded, `isLocked` is false from then on, and the next `beginSave` tries to get it back.
///
/// Every failure is OdError with the file's name and the reason: (file not found), (file access),
/// (file locked), (file corrupt), (file too new), (file changed) if another process has saved it
/// meanwhile, (read only).
class OdDbDrawingFile
{
public:
    using Clock = std::chrono::steady_clock;
    /// A dying disk takes seconds for each read that fails.
    static constexpr std::chrono::minutes kFaultPatience{10};

    /// Opens a drawing and reads its header and its classes.
    ///
    /// \param path  Absolute, with symbolic links resolved.
    /// \param name  How messages call the file.
    static std::unique_ptr<OdDbDrawingFile> open(std::filesystem::path const& path,
                                                 std::string const& name, OdDbOpenDrawingMode mode);
    /// Opens for writing a file that was just written and put in its place. If another process was
    /// quicker to take its lock, it comes without, as after a save.
    ///
    /// \param headerBytes  What `headerBytes` of the file gave that was written.
    /// \throws OdError (file changed) also if another process has saved it already.
    static std::unique_ptr<OdDbDrawingFile> openSaved(std::filesystem::path const& path,
                                                      std::string const& name,
                                                      std::vector<std::uint8_t> const& headerBytes);
    /// Makes an empty file with its tables, in a transaction that the one `commitSave` ends. There is
    /// no way back after a failure but to remove the file.
    static std::unique_ptr<OdDbDrawingFile> create(std::filesystem::path const& path,
                                                   std::string const& name);
    OdDbDrawingFile(OdDbDrawingFile const&) = delete;
    OdDbDrawingFile& operator=(OdDbDrawingFile const&) = delete;
    ~OdDbDrawingFile();

    std::filesystem::path const& path() const noexcept { return m_path; }
    std::string const& name() const noexcept { return m_connection.name(); }
    OdDbDrawingHeader const& header() const noexcept { return m_header; }
    /// The header as it is stored; no two saves of a drawing share it.
    std::vector<std::uint8_t> const& headerBytes() const noexcept { return m_headerBytes; }
    /// In ascending order of numbers, as they were when the file was opened.
    std::vector<OdDbFileClass> const& classes() const noexcept { return m_classes; }
    bool isForWriting() const noexcept { return m_mode == OdDbOpenDrawingMode::kForWriting; }
    bool isLocked() const noexcept { return m_isLocked; }
    /// Whether `path` names the file that this object has open.
    bool isSameFile(std::filesystem::path const& path) const;
    /// Whether the file has other names: hard links.
    bool hasOtherNames() const noexcept;
    /// Greatest length of a drawing's path.
    static std::size_t maxPathBytes();

    /// \name Reading
    /// @{
    /// Whether a part that the disk doesn't give back counts as unreadable, as a damaged one does,
    /// instead of throwing.
    ///
    /// \param patience  Once failed reads have taken this long, the disk isn't asked any more, and all
    ///                  the rest counts as unreadable.
    void setPassesOverFaults(bool passesOver, Clock::duration patience = kFaultPatience) noexcept;
    bool passesOverFaults() const noexcept { return m_passesOverFaults; }
    /// Whether an error of a read costs a part of the drawing alone: damage, and what the disk doesn't
    /// give back where that is passed over.
    bool isDamage(OdError const& error) const noexcept;
    OdDbPartState readPage(std::uint64_t page, OdDbPageBytes& bytes);
    /// As `readPage`, for the directory alone, which spares the records.
    OdDbPartState readDirectory(std::uint64_t page, std::vector<std::uint8_t>& directory);
    /// The least number of a page from `from` on.
    std::optional<std::uint64_t> nextPage(std::uint64_t from);
    /// The greatest number of a page, not above `kLastPage`.
    std::optional<std::uint64_t> lastPage();
    /// A record that lies outside of its page.
    OdDbPartState readOutside(OdDbHandle handle, std::vector<std::uint8_t>& record);
    /// Compares the tables with the counts of the header and looks through the file's inner
    /// structure. \return What is wrong, one line each, at most a hundred.
    std::vector<std::string> checkStructure();
    /// @}

    /// \name Saving
    /// @{
    void beginSave();
    void writePage(std::uint64_t page, std::span<std::uint8_t const> directory,
                   std::span<std::uint8_t const> records);
    void removePage(std::uint64_t page);
    void writeOutside(OdDbHandle handle, std::span<std::uint8_t const> body,
                      std::span<std::uint8_t const> references);
    void removeOutside(OdDbHandle handle);
    /// \param fileClass  A damaged one is written so that it is found damaged again.
    void writeClass(OdDbFileClass const& fileClass);
    void writeHeader(OdDbDrawingHeader const& header);
    /// Ends a save that has nothing to write.
    void endSave() noexcept;
    void commitSave();
    void rollbackSave() noexcept;
    /// @}

    /// Throws with the file's name in front of the reason.
    [[noreturn]] void fail(OdResult result, std::string_view reason) const
    {
        m_connection.fail(result, reason);
    }

private:
    struct Statements;

    static std::unique_ptr<OdDbDrawingFile> open(std::filesystem::path const& path,
                                                 std::string const& name, OdDbOpenDrawingMode mode,
                                                 bool mustLock);
    OdDbDrawingFile(std::filesystem::path const& path, std::string const& name, int flags,
                    OdDbOpenDrawingMode mode);
    void harden();
    void checkNoForeignLog();
    void checkFirstBytes();
    std::array<std::uint8_t, 100> readFirstBytes();
    void configure();
    void limitWork();
    void checkSchema();
    void makeTables();
    void load(bool mustLock);
    void readClasses();
    std::vector<std::uint8_t> readHeaderBytes();
    int takeLock() noexcept;
    void noteIdentity();
    bool hasMoved();
    void letGo() noexcept;
    void checkUnchanged();
    void noteSaved();
    void forgetAttempt() noexcept;
    void checkContent();
    void endReading() noexcept;
    void checkPlace();
    void confirmLock() noexcept;
    void regainLock() noexcept;
    void requireSave() const;
    void setSaving(bool isSaving) noexcept;
    std::int64_t dataVersion();
    void countRows(char const* table, std::uint64_t expected, OdDbSqliteStatement& statement,
                   std::vector<std::string>& problems);
    template <class Read>
    auto reading(Read const& read);
    template <class Read>
    auto readingTogether(Read const& read);
    template <class Read>
    OdDbPartState readingPart(Read const& read);

    OdDbSqliteConnection m_connection;
    std::filesystem::path m_path;
    OdDbOpenDrawingMode m_mode;
    bool m_isLocked = false;
    bool m_isSaving = false;
    bool m_passesOverFaults = false;
    bool m_mayBeSaved = false;     ///< a commit has failed that may be in the file all the same
    Clock::duration m_patience{};  ///< what is left of it
    std::int64_t m_dataVersion = 0;
    std::uint64_t m_device = 0;
    std::uint64_t m_inode = 0;
    /// What the file was like when it was locked.
    struct Stamp
    {
        std::int64_t seconds = 0;
        std::int64_t nanoseconds = 0;
        std::int64_t size = 0;

        friend bool operator==(Stamp const&, Stamp const&) = default;
    };
    Stamp stamp() const noexcept;
    Stamp m_stamp;
    std::array<std::uint8_t, 100> m_firstBytes{};
    OdDbDrawingHeader m_header;
    std::vector<std::uint8_t> m_headerBytes;     ///< as last read or committed
    std::vector<std::uint8_t> m_attemptedBytes;  ///< of the save that is under way, or may be saved
    OdDbDrawingHeader m_attempted;
    std::vector<OdDbFileClass> m_classes;
    std::unique_ptr<Statements> m_statements;
};
