// The undo and redo records of one database.

#pragma once

#include "db/od_db_memory_filer.h"

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

class OdDbDatabaseImpl;
struct OdDbIdRecord;

/// Bytes of records, one behind the other in chunks, so that a long tape grows without being moved. A
/// record lies in one chunk.
class OdDbUndoBytes
{
public:
    using Bytes = OdDbMemoryFiler::Bytes;

    /// Of all records.
    std::uint64_t size() const noexcept { return m_base + (m_chunks.empty() ? 0 : last().size()); }
    /// Where the next record is to be appended, at `size()`; stays in its place until it is cut off.
    Bytes& place();
    /// The last record. There is one.
    /// \param start  What `size` was before it.
    std::span<std::uint8_t const> lastFrom(std::uint64_t start);
    /// Cuts the end off.
    void resize(std::uint64_t size);
    void clear() noexcept;

private:
    Bytes const& last() const noexcept { return m_chunks.back(); }

    std::deque<Bytes> m_chunks;
    std::uint64_t m_base = 0;  ///< bytes of all chunks but the last one
};

/// Records of changes in the order in which they were made, with marks to go back to.
///
/// There are three kinds: the whole state of an object, a partial record that a class wrote, and the
/// erased state. Playing a record back writes its inverse to the opposite tape, so undo and redo are
/// one operation, and a transaction that is aborted is undo without redo. Bytes of many records lie
/// in one chunk, so that a record costs no allocation.
class OdDbUndoLog
{
public:
    explicit OdDbUndoLog(OdDbDatabaseImpl& database);

    /// \name Recording
    /// @{
    bool isRecording() const noexcept
    {
        return !m_disabled && m_inverse == nullptr && !m_isPlaying &&
               (m_isStarted || !m_transactions.empty());
    }
    void setDisabled(bool disabled) noexcept { m_disabled = disabled; }
    /// Number of the present mark. An object whose whole state was recorded at this mark needs no
    /// second record before the next one.
    std::uint32_t mark() const noexcept { return m_mark; }
    /// Files the whole state of an object; null stands for the settings of the database.
    void recordState(OdDbIdRecord* record);
    void recordErased(OdDbIdRecord& record, bool wasErased);
    /// A filer on a new partial record; null if nothing is recorded.
    OdDbDwgFiler* beginPartial(OdDbIdRecord& record);
    /// @}

    /// \name Going back and forth
    /// @{
    void startUndoRecord();
    bool hasUndo() const noexcept { return !m_undo.marks.empty(); }
    std::size_t markCount() const noexcept { return m_undo.marks.size(); }
    bool hasRedo() const noexcept { return !m_redo.marks.empty() && !hasRecordedSinceUndo(); }
    OdResult undo();
    OdResult redo();
    void clear();
    void startTransaction();
    void endTransaction();
    void abortTransaction();
    int transactionCount() const noexcept { return static_cast<int>(m_transactions.size()); }
    bool isPlaying() const noexcept { return m_isPlaying; }
    std::uint64_t byteCount() const noexcept { return m_undo.byteCount() + m_redo.byteCount(); }
    /// @}

private:
    enum class Kind : std::uint8_t
    {
        kState,
        kPartial,
        kErased
    };
    struct Entry
    {
        OdDbIdRecord* record;
        std::uint64_t start;  ///< offset of the record's bytes; they end where the next one starts
        Kind kind;
    };
    struct Tape
    {
        OdDbUndoBytes bytes;
        std::vector<Entry> entries;
        std::vector<std::size_t> marks;  ///< counts of entries at the marks

        std::uint64_t byteCount() const noexcept
        {
            return bytes.size() + entries.size() * sizeof(Entry);
        }
        void clear();
        /// Whether the last entry is a partial record into which nothing was written.
        bool endsInEmptyPartial() const noexcept
        {
            return !entries.empty() && entries.back().kind == Kind::kPartial &&
                   entries.back().start == bytes.size();
        }
        void dropEmptyPartial() noexcept;
    };
    class Playback;
    struct Touched
    {
        OdDbIdRecord* record;
        bool wasErased;
    };
    /// Where a transaction started: counts of entries and of marks.
    struct Start
    {
        std::size_t entries;
        std::size_t marks;
    };

    bool hasRecordedSinceUndo() const noexcept
    {
        return m_undo.entries.size() - (m_undo.endsInEmptyPartial() ? 1 : 0) > m_undoneTo;
    }
    void dropStaleRedo();
    void dropUnreachable();
    Tape* target() noexcept;
    void append(Tape& tape, OdDbIdRecord* record, Kind kind);
    void releaseWriter();
    void fileState(Tape& tape, OdDbIdRecord* record);
    void fileErased(Tape& tape, OdDbIdRecord& record, bool wasErased);
    void playGroup(Tape& from, Tape* to);
    void play(Tape& from, std::size_t downTo, Tape* inverse);
    void playEntry(Tape& from, Entry const& entry);
    void playState(OdDbIdRecord* record);
    void playPartial(OdDbIdRecord& record);
    void playErased(OdDbIdRecord& record);
    void touch(OdDbIdRecord& record, bool isModified);
    void sendNotices();
    void nextMark() noexcept { ++m_mark; }

    OdDbDatabaseImpl& m_database;
    Tape m_undo;
    Tape m_redo;
    std::vector<Start> m_transactions;
    std::size_t m_undoneTo = 0;  ///< count of entries behind the last undo or redo
    std::vector<Touched> m_touched;
    Tape* m_inverse = nullptr;  ///< where inverses go while a tape is played back
    std::uint32_t m_mark = 1;
    bool m_isStarted = false;
    bool m_isPlaying = false;
    bool m_disabled = false;
    bool m_isOnTape = false;           ///< records are being played back; notices come later
    bool m_clearsLater = false;        ///< `clear` was called meanwhile
    OdDbMemoryFiler::Bytes m_nowhere;  ///< takes what is written to a record that is over
    OdStaticRxObject<OdDbMemoryFiler> m_writer;
    OdStaticRxObject<OdDbMemoryFiler> m_reader;
};
