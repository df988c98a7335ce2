#include "store/od_db_drawing_store.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace {

/// Pages that can't be told before a walk over the drawing is given up.
constexpr std::size_t kMaxLostPages = 100'000;

std::size_t sizeOf(OdDbStoredPage const& page) noexcept
{
    return sizeof page + page.bytes.directory.capacity() + page.bytes.records.capacity() +
           page.directory.entries().capacity() * sizeof(OdDbPageEntry);
}

}  // namespace

OdDbDrawingStore::OdDbDrawingStore(OdDbDatabase& database, std::unique_ptr<OdDbDrawingFile> file)
    : m_database(database), m_file(std::move(file))
{
    for (OdDbFileClass const& fileClass : m_file->classes()) {
        enterClass(fileClass);
    }
    // A file damaged at its end may still hold all the rest.
    const std::uint64_t lastByHandles = odDbPageOf(OdDbHandle(m_file->header().handseed));
    try {
        m_lastPage = m_file->lastPage().value_or(0);
    } catch (OdDbReadFault const&) {
        m_lastPage = lastByHandles;
    } catch (OdError const& error) {
        if (error.code() != kOdFileCorrupt) {
            throw;
        }
        m_lastPage = lastByHandles;
    }
}

OdDbDrawingStore::~OdDbDrawingStore() = default;

OdDbDrawingStore* OdDbDrawingStore::of(OdDbDatabase& database)
{
    // Carriers are no runtime classes, and a database asks nothing of its carrier's kind.
    return dynamic_cast<OdDbDrawingStore*>(OdDbStorageAccess(database).store());
}

// ---------------------------------------------------------------------------------------------
// Classes

std::uint32_t OdDbDrawingStore::unknownClass()
{
    return OdDbStorageAccess(m_database).addClass(odDbClassRecordOf(*OdDbObject::desc()));
}

OdDbDrawingStore::FileClass& OdDbDrawingStore::enterClass(OdDbFileClass const& fileClass)
{
    FileClass entered;
    entered.stored = fileClass;
    if (fileClass.isDamaged) {
        entered.index = unknownClass();
        entered.damage = "its class, number " + std::to_string(fileClass.number) + ", is damaged";
    } else {
        entered.index = OdDbStorageAccess(m_database).addClass(fileClass.record);
    }
    return m_classes.insert_or_assign(fileClass.number, std::move(entered)).first->second;
}

OdDbDrawingStore::FileClass const* OdDbDrawingStore::findClass(std::uint32_t number) const
{
    const auto found = m_classes.find(number);
    return found != m_classes.end() ? &found->second : nullptr;
}

OdDbDrawingStore::FileClass const& OdDbDrawingStore::classAt(std::uint32_t number)
{
    if (FileClass const* const found = findClass(number)) {
        return *found;
    }
    OdDbFileClass missing;
    missing.number = number;
    missing.isDamaged = true;
    FileClass& entered = enterClass(missing);
    entered.damage = "its class, number " + std::to_string(number) + ", isn't listed";
    return entered;
}

std::vector<OdDbDrawingStore::FileClass const*> OdDbDrawingStore::classes() const
{
    std::vector<FileClass const*> all;
    all.reserve(m_classes.size());
    for (auto const& [number, fileClass] : m_classes) {
        all.push_back(&fileClass);
    }
    std::sort(all.begin(), all.end(), [](FileClass const* left, FileClass const* right) {
        return left->stored.number < right->stored.number;
    });
    return all;
}

void OdDbDrawingStore::noteClassWritten(OdDbFileClass const& fileClass, std::uint32_t index)
{
    FileClass entered;
    entered.stored = fileClass;
    entered.index = index;
    m_classes.insert_or_assign(fileClass.number, std::move(entered));
}

int OdDbDrawingStore::versionOf(OdDbPageEntry const& entry) const noexcept
{
    return entry.dwgVersion != 0 ? entry.dwgVersion : m_file->header().dwgVersion;
}

// ---------------------------------------------------------------------------------------------
// Pages

void OdDbDrawingStore::summarise(PageState& state, OdDbPageDirectory const& directory)
{
    state.mask = directory.mask();
    state.classes.clear();
    std::vector<std::uint32_t> classes;
    for (OdDbPageEntry const& entry : directory.entries()) {
        classes.push_back(classAt(entry.classNumber).index);
    }
    state.commonClass = classes.front();
    if (std::count(classes.begin(), classes.end(), state.commonClass) !=
        static_cast<std::ptrdiff_t>(classes.size())) {
        state.classes = std::move(classes);
    }
    state.isKnown = true;
    state.isDamaged = false;
}

// Absent pages leave no trace, so asking for handles that nobody has takes no memory.
OdDbDrawingStore::PageState* OdDbDrawingStore::summary(std::uint64_t number)
{
    if (number == m_currentNumber && m_current->isKnown) {
        return m_current;
    }
    const auto found = m_pages.find(number);
    if (found != m_pages.end() && found->second.isKnown) {
        return &found->second;
    }
    if (number > m_lastPage) {
        return nullptr;
    }
    std::vector<std::uint8_t> bytes;
    const OdDbPartState part = m_file->readDirectory(number, bytes);
    if (part == OdDbPartState::kAbsent) {
        return nullptr;
    }
    PageState& state = m_pages[number];
    try {
        if (part == OdDbPartState::kUnreadable) {
            throw OdError(kOdBadStream);
        }
        summarise(state, OdDbPageDirectory(number, bytes));
    } catch (OdError const& error) {
        if (error.code() != kOdBadStream) {
            throw;
        }
        state.isKnown = true;
        state.isDamaged = true;
    }
    return &state;
}

OdDbDrawingStore::PageState* OdDbDrawingStore::withPage(std::uint64_t number)
{
    if (number == m_currentNumber && m_current->page != nullptr) {
        return m_current;
    }
    const auto found = m_pages.find(number);
    PageState* state = found != m_pages.end() ? &found->second : nullptr;
    if (state != nullptr && state->page != nullptr) {
        m_ages.splice(m_ages.end(), m_ages, state->age);
    } else {
        state = readState(number, state);
    }
    if (state != nullptr) {
        m_currentNumber = number;
        m_current = state;
    }
    return state;
}

OdDbDrawingStore::PageState* OdDbDrawingStore::readState(std::uint64_t number, PageState* state)
{
    if (number > m_lastPage) {
        return nullptr;
    }
    auto page = std::make_shared<OdDbStoredPage>();
    page->number = number;
    const OdDbPartState part = m_file->readPage(number, page->bytes);
    if (part == OdDbPartState::kAbsent) {
        return nullptr;
    }
    if (state == nullptr) {
        state = &m_pages[number];
    }
    if (part == OdDbPartState::kUnreadable) {
        page->bytes = {};
        page->damage = "its page can't be read";
    } else {
        try {
            page->directory = OdDbPageDirectory(number, page->bytes.directory);
        } catch (OdError const& error) {
            if (error.code() != kOdBadStream) {
                throw;
            }
            page->damage = "the directory of its page is damaged";
        }
    }
    if (page->damage.empty()) {
        summarise(*state, page->directory);
    } else {
        state->isKnown = true;
        state->isDamaged = true;
    }
    state->page = std::move(page);
    keep(*state, number);
    return state;
}

void OdDbDrawingStore::keep(PageState& state, std::uint64_t number)
{
    state.age = m_ages.insert(m_ages.end(), number);
    m_keptBytes += sizeOf(*state.page);
    trim();
}

void OdDbDrawingStore::drop(PageState& state)
{
    m_keptBytes -= sizeOf(*state.page);
    m_ages.erase(state.age);
    state.page.reset();
}

void OdDbDrawingStore::trim()
{
    while (m_keptBytes > kCacheBytes && m_ages.size() > 1) {
        drop(m_pages.at(m_ages.front()));
    }
}

std::shared_ptr<OdDbStoredPage const> OdDbDrawingStore::page(std::uint64_t number)
{
    PageState const* const state = withPage(number);
    return state != nullptr ? state->page : nullptr;
}

std::optional<std::uint64_t> OdDbDrawingStore::nextPage(std::uint64_t from)
{
    // Each walk counts by itself, and begins with the first page or behind it.
    if (from <= 1) {
        m_lostPages = 0;
    }
    while (from <= m_lastPage) {
        try {
            return m_file->nextPage(from);
        } catch (OdError const& error) {
            if (!m_file->isDamage(error) || ++m_lostPages > kMaxLostPages) {
                throw;
            }
        }
        // The way to the next page is damaged; pages behind the damage can be had by number.
        std::vector<std::uint8_t> directory;
        if (m_file->readDirectory(from, directory) != OdDbPartState::kAbsent) {
            return from;
        }
        ++from;
    }
    return std::nullopt;
}

bool OdDbDrawingStore::isPageDamaged(std::uint64_t number)
{
    PageState const* const state = summary(number);
    return state != nullptr && state->isDamaged;
}

OdDbHandle OdDbDrawingStore::firstFreeHandle()
{
    const std::uint64_t seed = m_file->header().handseed;
    const std::uint64_t number = odDbPageOf(OdDbHandle(seed));
    if (m_lastPage > number) {
        return OdDbHandle((m_lastPage + 1) * kHandlesInPage);
    }
    const std::uint64_t used = usedSlots(number);
    return OdDbHandle(
        std::min(std::max(seed, number * kHandlesInPage + used), kLastStoredHandle + 1));
}

// A page that can't be read may hold objects with any of its handles.
std::uint64_t OdDbDrawingStore::usedSlots(std::uint64_t number)
{
    try {
        PageState const* const state = summary(number);
        if (state == nullptr) {
            return 0;
        }
        return state->isDamaged ? kHandlesInPage
                                : static_cast<std::uint64_t>(std::bit_width(state->mask));
    } catch (OdDbReadFault const&) {
        return kHandlesInPage;
    }
}

std::uint64_t OdDbDrawingStore::lastKnownMask(std::uint64_t number) const
{
    const auto found = m_pages.find(number);
    return found != m_pages.end() ? found->second.mask : 0;
}

std::uint32_t OdDbDrawingStore::lastKnownClass(OdDbHandle handle) const
{
    return classIn(m_pages.at(odDbPageOf(handle)), odDbSlotOf(handle));
}

std::uint32_t OdDbDrawingStore::classIn(PageState const& state, unsigned slot) noexcept
{
    if (state.classes.empty()) {
        return state.commonClass;
    }
    const std::uint64_t below = state.mask & ((std::uint64_t{1} << slot) - 1);
    return state.classes[static_cast<std::size_t>(std::popcount(below))];
}

void OdDbDrawingStore::noteSaveFailed()
{
    for (auto& [number, state] : m_pages) {
        if (state.page != nullptr) {
            drop(state);
        }
        state.isKnown = false;
    }
    // What the save has written may be in the file nevertheless.
    const std::uint64_t last = odDbPageOf(OdDbHandle(m_database.handseed()));
    m_lastPage = std::max(m_lastPage, std::min(last, kLastPage));
}

void OdDbDrawingStore::notePageWritten(OdDbWrittenPage const& written)
{
    PageState& state = m_pages[written.number];
    if (state.page != nullptr) {
        drop(state);
    }
    if (written.directory.empty()) {
        state.mask = 0;
        state.isKnown = false;
    } else {
        summarise(state, OdDbPageDirectory(written.number, written.directory));
    }
    state.loaded = written.resident;
    m_lastPage = std::max(m_lastPage, written.number);
}

void OdDbDrawingStore::readRecord(OdDbStoredPage const& page, OdDbPageEntry const& entry,
                                  OdDbStoredRecord& record)
{
    record.body = {};
    record.references = {};
    record.damage.clear();
    std::span<std::uint8_t const> bytes;
    if (entry.isOutside) {
        const OdDbHandle handle = odDbHandleAt(page.number, entry.slot);
        const OdDbPartState part = m_file->readOutside(handle, record.outside);
        if (part != OdDbPartState::kRead) {
            record.damage = part == OdDbPartState::kAbsent ? "its record is missing"
                                                           : "its record can't be read";
            return;
        }
        bytes = record.outside;
    } else if (entry.offset < page.bytes.records.size()) {
        bytes = std::span(page.bytes.records).subspan(static_cast<std::size_t>(entry.offset));
    }
    if (entry.recordBytes() > bytes.size()) {
        record.damage = "its record is cut off";
        return;
    }
    record.body = bytes.first(static_cast<std::size_t>(entry.bodyBytes));
    record.references = bytes.subspan(static_cast<std::size_t>(entry.bodyBytes),
                                      static_cast<std::size_t>(entry.referenceBytes));
    if (odDbChecksum(record.body, record.references) != entry.checksum) {
        record.damage = "its checksum differs";
    }
}

// ---------------------------------------------------------------------------------------------
// What the database asks

bool OdDbDrawingStore::mayHoldLostObject(OdDbHandle handle) const noexcept
{
    return !handle.isNull() && handle.value() < m_file->header().handseed;
}

/// Names the object for which something could not be read.
template <class Read>
bool OdDbDrawingStore::readingFor(OdDbHandle handle, Read const& read)
{
    try {
        return read();
    } catch (OdDbReadFault const& fault) {
        throw OdDbReadFault(m_file->name(),
                            "object " + std::string(handle.ascii().utf8()) + ": " + fault.reason());
    }
}

bool OdDbDrawingStore::find(OdDbHandle handle, std::uint32_t& classIndex)
{
    return readingFor(handle, [&] { return findStored(handle, classIndex); });
}

bool OdDbDrawingStore::findStored(OdDbHandle handle, std::uint32_t& classIndex)
{
    PageState const* const state = summary(odDbPageOf(handle));
    if (state == nullptr) {
        return false;
    }
    if (state->isDamaged) {
        classIndex = unknownClass();
        return mayHoldLostObject(handle);
    }
    const unsigned slot = odDbSlotOf(handle);
    if ((state->mask >> slot & 1U) == 0) {
        return false;
    }
    classIndex = classIn(*state, slot);
    return true;
}

bool OdDbDrawingStore::beginLoad(OdDbHandle handle, OdDbStoredObject& object)
{
    return readingFor(handle, [&] { return startLoad(handle, object); });
}

bool OdDbDrawingStore::startLoad(OdDbHandle handle, OdDbStoredObject& object)
{
    PageState const* const state = withPage(odDbPageOf(handle));
    if (state == nullptr) {
        return false;
    }
    const unsigned slot = odDbSlotOf(handle);
    OdDbPageEntry const* const entry = state->page->directory.find(slot);
    if (entry == nullptr && !(state->isDamaged && mayHoldLostObject(handle))) {
        return false;
    }
    if (m_depth == m_loads.size()) {
        m_loads.push_back(std::make_unique<Load>(&m_database));
    }
    Load& load = *m_loads[m_depth];
    load.page = state->page;
    load.slot = slot;
    object.filer = &load.filer;
    object.damage = load.page->damage;
    if (entry == nullptr) {
        object.classIndex = unknownClass();
        load.filer.readFrom({}, {}, m_file->header().dwgVersion);
    } else {
        FileClass const& fileClass = classAt(entry->classNumber);
        const int version = versionOf(*entry);
        object.classIndex = fileClass.index;
        readRecord(*load.page, *entry, load.record);
        object.damage = !fileClass.damage.empty() ? fileClass.damage : load.record.damage;
        if (object.damage.empty() && !OdDb::isDwgVersion(version)) {
            object.damage = "it was filed for drawing version " + std::to_string(version);
        }
        load.filer.readFrom(load.record.body, load.record.references, version);
    }
    ++m_depth;
    return true;
}

void OdDbDrawingStore::endLoad()
{
    Load& load = *m_loads[--m_depth];
    const std::uint64_t number = load.page->number;
    load.page.reset();
    // Only few records lie outside, and they are large.
    std::vector<std::uint8_t>().swap(load.record.outside);
    PageState* const state = number == m_currentNumber ? m_current : &m_pages[number];
    state->loaded |= std::uint64_t{1} << load.slot;
    if (state->page != nullptr && !state->isDamaged && (state->mask & ~state->loaded) == 0) {
        drop(*state);
    }
}

OdDbHandle OdDbDrawingStore::nextHandle(OdDbHandle after)
{
    if (after.value() == ~std::uint64_t{0}) {
        return OdDbHandle();
    }
    const std::uint64_t first = after.value() + 1;
    std::optional<std::uint64_t> number = odDbPageOf(OdDbHandle(first));
    PageState const* state = summary(*number);
    std::uint64_t mask = ~std::uint64_t{0} << odDbSlotOf(OdDbHandle(first));
    for (;;) {
        const std::uint64_t rest = state != nullptr && !state->isDamaged ? state->mask & mask : 0;
        if (rest != 0) {
            return odDbHandleAt(*number, static_cast<unsigned>(std::countr_zero(rest)));
        }
        number = *number < kLastPage ? nextPage(*number + 1) : std::nullopt;
        if (!number) {
            return OdDbHandle();
        }
        state = summary(*number);
        mask = ~std::uint64_t{0};
    }
}
