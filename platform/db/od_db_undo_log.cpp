#include "db/od_db_database_impl.h"
#include "db/od_db_undo_log_impl.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace {

/// A chunk that has come to this size gets no further record.
constexpr std::size_t kChunkSize = 256 * 1024;

}  // namespace

OdDbUndoBytes::Bytes& OdDbUndoBytes::place()
{
    if (m_chunks.empty()) {
        m_chunks.emplace_back();
    } else if (last().size() >= kChunkSize) {
        const std::uint64_t base = size();
        m_chunks.emplace_back().reserve(kChunkSize);
        m_base = base;
    }
    return m_chunks.back();
}

std::span<std::uint8_t const> OdDbUndoBytes::lastFrom(std::uint64_t start)
{
    resize(size());
    return std::span<std::uint8_t const>(last()).subspan(static_cast<std::size_t>(start - m_base));
}

/// No chunk but the first is left empty.
void OdDbUndoBytes::resize(std::uint64_t size)
{
    while (m_base != 0 && size <= m_base) {
        m_chunks.pop_back();
        m_base -= last().size();
    }
    if (!m_chunks.empty()) {
        m_chunks.back().resize(static_cast<std::size_t>(size - m_base));
    }
}

void OdDbUndoBytes::clear() noexcept
{
    m_chunks.clear();
    m_base = 0;
}

/// Marks the log as playing for as long as it lives.
class OdDbUndoLog::Playback
{
public:
    Playback(OdDbUndoLog& log, Tape* inverse) : m_log(log)
    {
        log.m_isPlaying = true;
        log.m_inverse = inverse;
    }
    Playback(Playback const&) = delete;
    Playback& operator=(Playback const&) = delete;
    ~Playback()
    {
        m_log.m_inverse = nullptr;
        m_log.m_isPlaying = false;
        m_log.nextMark();
    }

private:
    OdDbUndoLog& m_log;
};

OdDbUndoLog::OdDbUndoLog(OdDbDatabaseImpl& database)
    : m_database(database), m_writer(OdDb::FilerType::kUndoFiler, &database.database),
      m_reader(OdDb::FilerType::kUndoFiler, &database.database)
{
}

void OdDbUndoLog::Tape::clear()
{
    bytes.clear();
    entries = {};
    marks = {};
}

void OdDbUndoLog::Tape::dropEmptyPartial() noexcept
{
    if (endsInEmptyPartial()) {
        entries.pop_back();
    }
}

OdDbUndoLog::Tape* OdDbUndoLog::target() noexcept
{
    if (m_isPlaying) {
        return m_inverse;
    }
    return isRecording() ? &m_undo : nullptr;
}

/// What was recorded since the last undo starts from another state than redo would find. A partial
/// record counts once something is in it: a caller may only have asked whether there is a filer.
void OdDbUndoLog::dropStaleRedo()
{
    if (!m_redo.marks.empty() && hasRecordedSinceUndo()) {
        m_redo.clear();
    }
}

/// Records in front of the first mark are what nothing goes back to: recording goes on when all
/// marks have been undone.
void OdDbUndoLog::dropUnreachable()
{
    if (m_undo.marks.empty() && m_transactions.empty() && m_redo.marks.empty()) {
        m_undo.bytes.clear();
        m_undo.entries.clear();
        m_undoneTo = 0;
    }
}

/// The bytes of the last record may go: whoever kept its filer is to do no harm.
void OdDbUndoLog::releaseWriter()
{
    m_nowhere.clear();
    m_writer.writeTo(m_nowhere);
}

void OdDbUndoLog::append(Tape& tape, OdDbIdRecord* record, Kind kind)
{
    releaseWriter();
    tape.dropEmptyPartial();
    if (!m_isPlaying) {
        dropStaleRedo();
        dropUnreachable();
    }
    tape.entries.push_back({record, tape.bytes.size(), kind});
}

void OdDbUndoLog::fileState(Tape& tape, OdDbIdRecord* record)
{
    append(tape, record, Kind::kState);
    OdDbObject const& object =
        record != nullptr ? *record->object : static_cast<OdDbObject&>(m_database.database);
    m_writer.writeTo(tape.bytes.place());
    try {
        OdDbObjectAccess::fileOut(object, m_writer);
    } catch (...) {
        releaseWriter();
        tape.bytes.resize(tape.entries.back().start);
        tape.entries.pop_back();
        throw;
    }
}

void OdDbUndoLog::fileErased(Tape& tape, OdDbIdRecord& record, bool wasErased)
{
    append(tape, &record, Kind::kErased);
    tape.bytes.place().push_back(wasErased ? 1 : 0);
}

void OdDbUndoLog::recordState(OdDbIdRecord* record)
{
    if (isRecording()) {
        fileState(m_undo, record);
    }
}

void OdDbUndoLog::recordErased(OdDbIdRecord& record, bool wasErased)
{
    if (isRecording()) {
        fileErased(m_undo, record, wasErased);
    }
}

OdDbDwgFiler* OdDbUndoLog::beginPartial(OdDbIdRecord& record)
{
    Tape* tape = target();
    if (tape == nullptr) {
        return nullptr;
    }
    append(*tape, &record, Kind::kPartial);
    m_writer.writeTo(tape->bytes.place());
    return &m_writer;
}

void OdDbUndoLog::startUndoRecord()
{
    m_isStarted = true;
    releaseWriter();
    m_undo.dropEmptyPartial();
    dropStaleRedo();
    dropUnreachable();
    m_undo.marks.push_back(m_undo.entries.size());
    nextMark();
}

OdResult OdDbUndoLog::undo()
{
    const OdDbDatabasePtr keptAlive(&m_database.database);  // a reactor may hold the last pointer
    const bool inTransaction = !m_transactions.empty();
    if (m_isPlaying || (inTransaction && m_undo.marks.size() <= m_transactions.back().marks)) {
        return kOdTransactionOpen;
    }
    if (m_undo.marks.empty()) {
        return kOdNoUndo;
    }
    m_undo.dropEmptyPartial();
    dropStaleRedo();
    // Redo can't lead into a transaction that may be aborted, and what is undone while nothing is
    // recorded is not to come back.
    const bool keepsRedo = !inTransaction && !m_disabled;
    playGroup(m_undo, keepsRedo ? &m_redo : nullptr);
    if (!keepsRedo) {
        m_redo.clear();
    }
    return kOdOk;
}

OdResult OdDbUndoLog::redo()
{
    if (!m_transactions.empty() || m_isPlaying) {
        return kOdTransactionOpen;
    }
    dropStaleRedo();
    if (m_redo.marks.empty()) {
        return kOdNoUndo;
    }
    playGroup(m_redo, &m_undo);
    return kOdOk;
}

void OdDbUndoLog::playGroup(Tape& from, Tape* to)
{
    const std::size_t mark = from.marks.back();
    from.marks.pop_back();
    if (to != nullptr) {
        to->dropEmptyPartial();
        to->marks.push_back(to->entries.size());
    }
    play(from, mark, to);
}

void OdDbUndoLog::clear()
{
    if (m_isOnTape) {
        m_clearsLater = true;  // the record that is being read lies on the tape
        return;
    }
    releaseWriter();
    m_undo.clear();
    m_redo.clear();
    m_undoneTo = 0;
    for (Start& transaction : m_transactions) {
        transaction = {};
    }
    nextMark();
}

void OdDbUndoLog::startTransaction()
{
    m_undo.dropEmptyPartial();
    m_transactions.push_back({m_undo.entries.size(), m_undo.marks.size()});
    nextMark();
}

void OdDbUndoLog::endTransaction()
{
    if (m_transactions.empty()) {
        throw OdError(kOdNoTransaction);
    }
    m_transactions.pop_back();
    if (m_transactions.empty() && !m_isStarted) {
        clear();  // nothing outside could ever go back to these records
    }
}

void OdDbUndoLog::abortTransaction()
{
    if (m_transactions.empty()) {
        throw OdError(kOdNoTransaction);
    }
    const OdDbDatabasePtr keptAlive(&m_database.database);  // a reactor may hold the last pointer
    const Start start = m_transactions.back();
    m_transactions.pop_back();
    if (m_isPlaying) {
        return;  // opened by a reactor during playback, when nothing is recorded
    }
    m_undo.dropEmptyPartial();
    dropStaleRedo();
    m_undo.marks.resize(std::min(start.marks, m_undo.marks.size()));
    play(m_undo, start.entries, nullptr);
    if (m_transactions.empty() && !m_isStarted) {
        clear();
    }
}

void OdDbUndoLog::play(Tape& from, std::size_t downTo, Tape* inverse)
{
    const OdDbDatabasePtr keptAlive(&m_database.database);  // a reactor may hold the last pointer
    releaseWriter();
    from.dropEmptyPartial();
    const Playback playback(*this, inverse);
    m_isOnTape = true;
    while (from.entries.size() > downTo) {
        const Entry entry = from.entries.back();
        try {
            playEntry(from, entry);
        } catch (std::exception const& error) {
            // The other records still have to come back; an undo that stops half-way helps nobody.
            odReportAssert("false", error.what(), __FILE__, __LINE__);
        } catch (...) {
            odReportAssert("false", "unknown exception", __FILE__, __LINE__);
        }
        from.entries.pop_back();
        from.bytes.resize(entry.start);
    }
    if (inverse != nullptr) {
        inverse->dropEmptyPartial();
    }
    m_isOnTape = false;
    releaseWriter();
    m_inverse = nullptr;  // what reactors do now is neither undone nor done again
    if (std::exchange(m_clearsLater, false)) {
        clear();
    }
    // Before the notices: who is told may ask for a redo, or set a mark. Nothing is recorded meanwhile.
    m_undoneTo = m_undo.entries.size();
    sendNotices();
}

void OdDbUndoLog::playEntry(Tape& from, Entry const& entry)
{
    // A proxy gives way to its object once its class is there, and that may not be read so far.
    if (entry.record != nullptr && entry.record->object == nullptr &&
        !m_database.load(*entry.record)) {
        throw OdError(kOdObjectDamaged);
    }
    if (entry.record != nullptr && entry.record->object == nullptr) {
        // A proxy gave way, and nothing could be loaded in its place.
        throw OdError(kOdObjectDamaged);
    }
    m_reader.readFrom(from.bytes.lastFrom(entry.start));
    switch (entry.kind) {
    case Kind::kState:
        return playState(entry.record);
    case Kind::kPartial:
        return playPartial(*entry.record);
    case Kind::kErased:
        return playErased(*entry.record);
    }
}

void OdDbUndoLog::playState(OdDbIdRecord* record)
{
    if (m_inverse != nullptr) {
        fileState(*m_inverse, record);
    }
    if (record == nullptr) {
        m_database.markHeaderChanged();
    } else {
        touch(*record, true);
    }
    OdDbObject& object =
        record != nullptr ? *record->object : static_cast<OdDbObject&>(m_database.database);
    const OdResult result = OdDbObjectAccess::fileIn(object, m_reader);
    if (result != kOdOk) {
        throw OdError(result);
    }
}

void OdDbUndoLog::playPartial(OdDbIdRecord& record)
{
    touch(record, true);
    auto* cls = static_cast<OdRxClass*>(m_reader.rdAddress());
    OdDbObjectAccess::playPartial(*record.object, m_reader, cls);
}

void OdDbUndoLog::playErased(OdDbIdRecord& record)
{
    touch(record, false);
    const bool wasErased = m_reader.rdUInt8() != 0;
    if (m_inverse != nullptr) {
        fileErased(*m_inverse, record, record.has(OdDbIdRecord::kErased));
    }
    OdDbObjectAccess::setErased(*record.object, wasErased);
}

void OdDbUndoLog::touch(OdDbIdRecord& record, bool isModified)
{
    m_database.ids.markChanged(record);
    if (!record.has(OdDbIdRecord::kTouched)) {
        record.set(OdDbIdRecord::kTouched, true);
        m_touched.push_back({&record, record.has(OdDbIdRecord::kErased)});
    }
    if (isModified) {
        record.set(OdDbIdRecord::kRestored, true);
    }
}

void OdDbUndoLog::sendNotices()
{
    const std::vector<Touched> touched = std::exchange(m_touched, {});
    for (Touched const& one : touched) {
        OdDbIdRecord& record = *one.record;
        const bool isRestored = record.has(OdDbIdRecord::kRestored);
        record.set(OdDbIdRecord::kTouched, false);
        record.set(OdDbIdRecord::kRestored, false);
        if (record.object == nullptr) {
            continue;
        }
        const bool isErased = record.has(OdDbIdRecord::kErased);
        if (isErased != one.wasErased) {
            OdDbObjectAccess::sendErased(*record.object, isErased);
        }
        if (isRestored && record.object != nullptr) {
            OdDbObjectAccess::sendModified(*record.object);
        }
    }
}
