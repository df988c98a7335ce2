#include "store/od_db_drawing_writer.h"

#include "db/od_db_block_reference.h"
#include "db/od_db_proxy_object.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <utility>

namespace {

std::string nameOf(OdDbHandle handle)
{
    return "object " + std::string(handle.ascii().utf8());
}

bool isProxy(OdDbObject const& object)
{
    return object.isKindOf(OdDbProxyObject::desc());
}

int bodyVersion(OdDbObject const& proxy)
{
    return static_cast<OdDbProxyObject const&>(proxy).bodyVersion();
}

}  // namespace

OdDbDrawingWriter::OdDbDrawingWriter(OdDbDatabase& database, OdDbDrawingStore* source,
                                     OdDbDrawingFile& target, int dwgVersion)
    : m_database(database), m_access(database), m_source(source), m_target(target),
      m_dwgVersion(dwgVersion), m_filer(&database, dwgVersion)
{
}

// ---------------------------------------------------------------------------------------------
// Whole saves

void OdDbDrawingWriter::writeChanges(OdDbSaveProgress const& progress)
{
    m_isIncremental = true;
    m_header = m_target.header();
    for (OdDbDrawingStore::FileClass const* fileClass : m_source->classes()) {
        const bool isDamaged = !fileClass->damage.empty();
        const ClassKey key{isDamaged, isDamaged ? fileClass->stored.number : fileClass->index};
        m_classNumbers.emplace(key, fileClass->stored.number);
        m_lastClassNumber = std::max(m_lastClassNumber, fileClass->stored.number);
    }
    // If rows of classes are lost, their numbers must not come to mean something else.
    if (m_header.classes <= kMaxClassNumber) {
        m_lastClassNumber =
            std::max(m_lastClassNumber, static_cast<std::uint32_t>(m_header.classes));
    }
    findListers();
    const std::vector<std::uint64_t> changed = m_access.changedBlocks();
    std::set<std::uint64_t> pages(changed.begin(), changed.end());
    for (std::uint64_t lister : m_listers) {
        const std::uint64_t number = odDbPageOf(OdDbHandle(lister));
        namingPage(number, [&] {
            if (!m_source->isPageDamaged(number)) {
                pages.insert(number);
            }
        });
    }
    std::uint64_t done = 0;
    for (std::uint64_t number : pages) {
        namingPage(number, [&] { composeAndWrite(number, /*isInMemory=*/true); });
        if (progress) {
            progress(++done, pages.size());
        }
    }
    writeClasses();
    writeHeader(m_header.saves + 1);
}

std::vector<std::uint64_t> OdDbDrawingWriter::pagesToWrite() const
{
    std::vector<std::uint64_t> stored;
    if (m_source != nullptr) {
        std::optional<std::uint64_t> number = m_source->nextPage(0);
        while (number) {
            stored.push_back(*number);
            number = m_source->nextPage(*number + 1);
        }
    }
    const std::vector<std::uint64_t> known = m_access.knownBlocks();
    std::vector<std::uint64_t> all;
    all.reserve(stored.size() + known.size());
    std::set_union(stored.begin(), stored.end(), known.begin(), known.end(),
                   std::back_inserter(all));
    return all;
}

void OdDbDrawingWriter::writeAll(OdDbSaveProgress const& progress)
{
    constexpr std::uint64_t kPagesInStep = 64;
    m_header = {};
    findListers();
    const std::vector<std::uint64_t> known = m_access.knownBlocks();
    const std::vector<std::uint64_t> pages = pagesToWrite();
    std::uint64_t done = 0;
    for (std::uint64_t number : pages) {
        const bool isInMemory = std::binary_search(known.begin(), known.end(), number);
        namingPage(number, [&] { composeAndWrite(number, isInMemory); });
        ++done;
        if (progress && (done % kPagesInStep == 0 || done == pages.size())) {
            progress(done, pages.size());
        }
    }
    writeClasses();
    writeHeader(/*saves=*/0);
}

// An object that lists what it owns leaves out what is erased, and so does a block with what shows it.
// Erasing is no change of either, so their stored bytes would go on naming what isn't there any more,
// and a drawing saved in one step and in two would differ.
void OdDbDrawingWriter::findListers()
{
    if (m_source == nullptr) {
        return;
    }
    for (std::uint64_t number : m_access.changedBlocks()) {
        namingPage(number, [&] { findListersIn(number); });
    }
}

void OdDbDrawingWriter::findListersIn(std::uint64_t number)
{
    const std::shared_ptr<OdDbStoredPage const> stored = m_source->page(number);
    for (unsigned slot = 0; slot < kHandlesInPage; ++slot) {
        const OdDbHandle handle = odDbHandleAt(number, slot);
        const OdDbObjectState state = m_access.state(handle);
        if (state.object == nullptr || !state.changed) {
            continue;
        }
        const bool wasThere = stored != nullptr && stored->directory.find(slot) != nullptr;
        // What was erased during the last save may have gone with it, while what lists it stayed.
        if (wasThere && !state.erased) {
            continue;
        }
        noteLister(state.object->ownerId());
        if (state.object->isKindOf(OdDbBlockReference::desc())) {
            const OdDbBlockReferencePtr reference =
                m_access.idOf(handle).safeOpenObject(OdDb::kForRead, /*openErased=*/true);
            noteLister(reference->blockTableRecord());
        }
    }
}

void OdDbDrawingWriter::noteLister(OdDbObjectId id)
{
    if (id.originalDatabase() == &m_database) {
        m_listers.insert(id.getHandle().value());
    }
}

void OdDbDrawingWriter::noteWritten()
{
    for (NewClass const& added : m_newClasses) {
        m_source->noteClassWritten(added.fileClass, added.index);
    }
    for (auto const& [number, renewed] : m_renewedClasses) {
        m_source->noteClassWritten(renewed.fileClass, renewed.index);
    }
    for (OdDbWrittenPage const& written : m_written) {
        m_source->notePageWritten(written);
    }
}

void OdDbDrawingWriter::writeHeader(std::uint64_t saves)
{
    m_filer.startRecord(m_dwgVersion);
    m_database.dwgOutFields(&m_filer);
    // What was added for another version may mean something else in this one.
    if (m_source != nullptr && m_source->file().header().dwgVersion == m_dwgVersion) {
        m_filer.wrBody(m_source->moreSettings());
    }
    m_header.dwgVersion = m_dwgVersion;
    m_header.handseed = m_database.handseed().value();
    m_header.saves = saves;
    m_header.body.assign(m_filer.body().begin(), m_filer.body().end());
    m_header.references.assign(m_filer.references().begin(), m_filer.references().end());
    m_target.writeHeader(m_header);
}

// ---------------------------------------------------------------------------------------------
// Classes

std::uint32_t OdDbDrawingWriter::classNumber(ClassKey key, OdDbFileClass const& fileClass)
{
    const auto found = m_classNumbers.find(key);
    if (found != m_classNumbers.end()) {
        return found->second;
    }
    if (m_lastClassNumber == kMaxClassNumber) {
        m_target.fail(kOdInvalidInput, "has no number left for another class");
    }
    NewClass added;
    added.fileClass = fileClass;
    added.fileClass.number = ++m_lastClassNumber;
    added.index = key.number;
    m_newClasses.push_back(std::move(added));
    m_classNumbers.emplace(key, m_lastClassNumber);
    return m_lastClassNumber;
}

std::uint32_t OdDbDrawingWriter::classNumberOf(std::uint32_t index)
{
    if (m_recentNumber == 0 || m_recentIndex != index) {
        OdDbFileClass fileClass;
        fileClass.record = m_database.classRecord(index);
        m_recentNumber = classNumber({/*isDamaged=*/false, index}, fileClass);
        m_recentIndex = index;
        if (isIncremental()) {
            noteRenewedClass(m_recentNumber, index, fileClass.record);
        }
    }
    return m_recentNumber;
}

// The class of an object that is filed may have come in another version since its row was written.
void OdDbDrawingWriter::noteRenewedClass(std::uint32_t number, std::uint32_t index,
                                         OdDbClassRecord const& record)
{
    OdDbDrawingStore::FileClass const* const listed = m_source->findClass(number);
    if (listed == nullptr || listed->stored.record == record) {
        return;
    }
    NewClass renewed;
    renewed.fileClass.number = number;
    renewed.fileClass.record = record;
    renewed.index = index;
    m_renewedClasses.insert_or_assign(number, std::move(renewed));
}

std::uint32_t OdDbDrawingWriter::copiedClassNumber(std::uint32_t number)
{
    if (isIncremental()) {
        return number;
    }
    OdDbDrawingStore::FileClass const& fileClass = m_source->classAt(number);
    if (fileClass.damage.empty()) {
        return classNumberOf(fileClass.index);
    }
    return classNumber({/*isDamaged=*/true, number}, fileClass.stored);
}

void OdDbDrawingWriter::writeClasses()
{
    for (NewClass& added : m_newClasses) {
        if (!added.fileClass.isDamaged) {
            added.fileClass.record = m_database.classRecord(added.index);
        }
        m_target.writeClass(added.fileClass);
    }
    m_header.classes += m_newClasses.size();
    for (auto const& [number, renewed] : m_renewedClasses) {
        m_target.writeClass(renewed.fileClass);
    }
}

// ---------------------------------------------------------------------------------------------
// Pages

/// Names the objects that are lost where the disk doesn't give their page back.
template <class Work>
void OdDbDrawingWriter::namingPage(std::uint64_t number, Work const& work)
{
    try {
        work();
    } catch (OdDbReadFault const& fault) {
        // A save that only copies gives up nothing that the disk may give tomorrow.
        std::string reason = "objects " + std::string(odDbHandleAt(number, 0).ascii().utf8()) +
                             " to " +
                             std::string(odDbHandleAt(number, kHandlesInPage - 1).ascii().utf8()) +
                             ": " + fault.reason();
        if (!isIncremental()) {
            reason += "; saved under another name, the drawing goes without them";
        }
        throw OdDbReadFault(m_target.name(), reason);
    }
}

void OdDbDrawingWriter::composeAndWrite(std::uint64_t number, bool isInMemory)
{
    const std::shared_ptr<OdDbStoredPage const> stored =
        m_source != nullptr ? m_source->page(number) : nullptr;
    if (stored != nullptr && !stored->damage.empty()) {
        writeLostPage(*stored, isInMemory);
        return;
    }
    composePage(number, stored.get(), isInMemory);
    const auto had =
        static_cast<unsigned>(stored != nullptr ? std::popcount(stored->directory.mask()) : 0);
    const auto has = static_cast<unsigned>(std::popcount(m_page.mask()));
    if (has != 0) {
        m_target.writePage(number, m_page.directory(), m_page.records());
    } else if (had != 0 && isIncremental()) {
        m_target.removePage(number);
    }
    if (isIncremental()) {
        m_header.pages -= had != 0 ? 1U : 0U;
        m_header.objects -= had;
    }
    m_header.pages += has != 0 ? 1U : 0U;
    m_header.objects += has;
    noteWrittenPage();
}

// The store of a whole new file learns of pages as they are read, like any other; but a page that
// becomes unreadable before can't tell any more what it had.
void OdDbDrawingWriter::noteWrittenPage()
{
    if (!isIncremental() && m_resident == 0) {
        return;
    }
    OdDbWrittenPage written{m_page.page(), m_resident, {}};
    if (m_page.mask() != 0) {
        written.directory.assign(m_page.directory().begin(), m_page.directory().end());
    }
    m_written.push_back(std::move(written));
}

// A page whose directory is damaged is carried as it is. Nothing can be added to it, as no free handle
// lies in it. Where even its bytes can't be had, an empty one takes its place, which reads as damaged,
// so that its objects aren't taken for absent.
void OdDbDrawingWriter::writeLostPage(OdDbStoredPage const& page, bool isInMemory)
{
    if (!isIncremental() && isInMemory && composeLostPage(page.number)) {
        const auto has = static_cast<unsigned>(std::popcount(m_page.mask()));
        if (has != 0) {
            m_target.writePage(page.number, m_page.directory(), m_page.records());
        }
        m_header.pages += has != 0 ? 1U : 0U;
        m_header.objects += has;
        noteWrittenPage();
        return;
    }
    if (isIncremental() || (isInMemory && isAnyInMemory(page.number))) {
        m_target.fail(kOdFileCorrupt, "is damaged: the page of " +
                                          nameOf(odDbHandleAt(page.number, 0)) +
                                          " and its neighbours can't be changed");
    }
    m_target.writePage(page.number, page.bytes.directory, page.bytes.records);
    ++m_header.pages;
}

bool OdDbDrawingWriter::isAnyInMemory(std::uint64_t number) const
{
    for (unsigned slot = 0; slot < kHandlesInPage; ++slot) {
        const OdDbObjectState state = m_access.state(odDbHandleAt(number, slot));
        if (state.object != nullptr && !state.erased) {
            return true;
        }
    }
    return false;
}

// A page can become unreadable after some of its objects were loaded. Those are written from memory,
// and the others so that they are found damaged. False if none was loaded, or nobody knows which
// objects it had.
bool OdDbDrawingWriter::composeLostPage(std::uint64_t number)
{
    const std::uint64_t mask = m_source->lastKnownMask(number);
    if (mask == 0 || !isAnyInMemory(number)) {
        return false;
    }
    m_page.start(number);
    m_resident = 0;
    for (unsigned slot = number == 0 ? 1 : 0; slot < kHandlesInPage; ++slot) {
        const OdDbHandle handle = odDbHandleAt(number, slot);
        const OdDbObjectState state = m_access.state(handle);
        if (state.object != nullptr) {
            m_resident |= std::uint64_t{1} << slot;
            if (!state.erased) {
                fileObject(handle, state, nullptr);
            }
        } else if ((mask >> slot & 1U) != 0) {
            OdDbPageEntry lost;
            lost.slot = static_cast<std::uint8_t>(slot);
            lost.classNumber = classNumberOf(m_source->lastKnownClass(handle));
            lost.checksum = ~odDbChecksum({});
            m_page.add(lost, {}, {});
        }
    }
    m_page.finish();
    return true;
}

void OdDbDrawingWriter::composePage(std::uint64_t number, OdDbStoredPage const* stored,
                                    bool isInMemory)
{
    m_page.start(number);
    m_resident = 0;
    const unsigned first = number == 0 ? 1 : 0;
    for (unsigned slot = first; slot < kHandlesInPage; ++slot) {
        composeObject(odDbHandleAt(number, slot), stored, isInMemory);
    }
    m_page.finish();
}

void OdDbDrawingWriter::composeObject(OdDbHandle handle, OdDbStoredPage const* stored,
                                      bool isInMemory)
{
    OdDbPageEntry const* const entry =
        stored != nullptr ? stored->directory.find(odDbSlotOf(handle)) : nullptr;
    OdDbObjectState state;
    if (isInMemory) {
        state = m_access.state(handle);
    }
    const bool mustBeFiled =
        entry != nullptr && (needsOtherVersion(*entry) || isListedAnew(handle));
    if (mustBeFiled && state.object == nullptr && !isOutOfReach(*stored, *entry)) {
        // Only its class knows how an object is filed.
        (void)m_access.idOf(handle).openObject(OdDb::kForRead, /*openErased=*/true);
        state = m_access.state(handle);
    }
    if (state.object != nullptr) {
        m_resident |= std::uint64_t{1} << odDbSlotOf(handle);
    }
    if (state.erased) {
        dropOutside(handle, entry);
    } else if (mustFile(state, entry, mustBeFiled)) {
        fileObject(handle, state, entry);
    } else if (entry != nullptr &&
               !copyRecord(*stored, *entry, /*isReplaceable=*/state.object != nullptr)) {
        fileObject(handle, state, entry);
    }
}

// Opening what can't be read now would have it count as damaged from then on, also when the disk gives
// it back later.
bool OdDbDrawingWriter::isOutOfReach(OdDbStoredPage const& page, OdDbPageEntry const& entry)
{
    if (!entry.isOutside || !m_source->file().passesOverFaults()) {
        return false;
    }
    m_source->readRecord(page, entry, m_record);
    return !m_record.damage.empty();
}

bool OdDbDrawingWriter::needsOtherVersion(OdDbPageEntry const& entry) const
{
    return m_source->versionOf(entry) != m_dwgVersion;
}

bool OdDbDrawingWriter::mustFile(OdDbObjectState const& state, OdDbPageEntry const* entry,
                                 bool mustBeFiled)
{
    if (state.object == nullptr) {
        return false;
    }
    if (entry == nullptr || state.changed) {
        return true;
    }
    return mustBeFiled && !state.partlyRead && !isProxy(*state.object);
}

// A proxy's bytes are those of its class and were filed for the version that they were read with, also
// in a copy.
void OdDbDrawingWriter::fileObject(OdDbHandle handle, OdDbObjectState const& state,
                                   OdDbPageEntry const* entry)
{
    const bool isCarried = isProxy(*state.object);
    const int version = isCarried ? bodyVersion(*state.object) : m_dwgVersion;
    if (!isCarried) {
        m_access.renewClass(state.classIndex);
    }
    m_filer.startRecord(version);
    try {
        m_access.fileOut(*state.object, m_filer);
    } catch (OdError const& error) {
        m_target.fail(error.code(), nameOf(handle) + ": " + error.what());
    }
    OdDbPageEntry written;
    written.slot = static_cast<std::uint8_t>(odDbSlotOf(handle));
    written.classNumber = classNumberOf(state.classIndex);
    written.dwgVersion = ownVersion(version);
    written.bodyBytes = m_filer.body().size();
    written.referenceBytes = m_filer.references().size();
    written.checksum = odDbChecksum(m_filer.body(), m_filer.references());
    if (written.recordBytes() > kMaxRecordBytes) {
        m_target.fail(kOdInvalidInput,
                      nameOf(handle) + ": " + std::to_string(written.recordBytes()) +
                          " bytes, at most " + std::to_string(kMaxRecordBytes) + " can be stored");
    }
    if (written.recordBytes() <= kMaxRecordBytesInPage) {
        dropOutside(handle, entry);
        m_page.add(written, m_filer.body(), m_filer.references());
        return;
    }
    written.isOutside = true;
    m_target.writeOutside(handle, m_filer.body(), m_filer.references());
    m_page.addOutside(written);
    const bool wasOutside = isIncremental() && entry != nullptr && entry->isOutside;
    m_header.outside += wasOutside ? 0 : 1;
}

void OdDbDrawingWriter::dropOutside(OdDbHandle handle, OdDbPageEntry const* entry)
{
    if (isIncremental() && entry != nullptr && entry->isOutside) {
        m_target.removeOutside(handle);
        --m_header.outside;
    }
}

// Copies a stored record, damaged or not. False, and nothing is done, if it is damaged and there is
// something better to put in its place.
bool OdDbDrawingWriter::copyRecord(OdDbStoredPage const& page, OdDbPageEntry const& entry,
                                   bool isReplaceable)
{
    OdDbPageEntry copy = entry;
    copy.classNumber = copiedClassNumber(entry.classNumber);
    copy.dwgVersion = ownVersion(m_source->versionOf(entry));
    if (entry.isOutside) {
        return copyOutside(page, copy, isReplaceable);
    }
    m_source->readRecord(page, entry, m_record);
    if (isReplaceable && !m_record.damage.empty()) {
        return false;
    }
    if (m_record.body.size() == entry.bodyBytes &&
        m_record.references.size() == entry.referenceBytes) {
        m_page.add(copy, m_record.body, m_record.references);
        return true;
    }
    // Cut off: what is there goes on, with a checksum that keeps it damaged.
    std::span<std::uint8_t const> rest = page.bytes.records;
    rest = rest.subspan(std::min(rest.size(), static_cast<std::size_t>(entry.offset)));
    copy.checksum = ~odDbChecksum(rest);
    m_page.add(copy, rest, {});
    return true;
}

bool OdDbDrawingWriter::copyOutside(OdDbStoredPage const& page, OdDbPageEntry& entry,
                                    bool isReplaceable)
{
    if (!isIncremental()) {
        const OdDbHandle handle = odDbHandleAt(page.number, entry.slot);
        const bool isRead =
            m_source->file().readOutside(handle, m_record.outside) == OdDbPartState::kRead;
        if (isReplaceable && (!isRead || odDbChecksum(m_record.outside) != entry.checksum)) {
            return false;
        }
        if (isRead) {
            m_target.writeOutside(handle, m_record.outside, {});
            ++m_header.outside;
        }
    }
    m_page.addOutside(entry);
    return true;
}
