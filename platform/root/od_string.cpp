#include "root/od_string.h"

#include "root/od_alloc.h"
#include "root/od_case_map.h"
#include "root/od_error.h"
#include "root/od_string_impl.h"
#include "root/od_utf8.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kMaxLength = INT_MAX - 1;

std::size_t characterSize(bool isWide)
{
    return isWide ? sizeof(wchar_t) : sizeof(char);
}

/// A block for a head and `length` characters with their terminator.
void* allocateText(std::size_t headSize, bool isWide, std::size_t length)
{
    if (length > kMaxLength) {
        throw OdError(kOdOutOfMemory);
    }
    std::size_t const size = headSize + (length + 1) * characterSize(isWide);
    void* const block = odrxAlloc(size);
    if (block == nullptr) {
        // Where not even a message fits, the exception can't carry one.
        constexpr std::size_t kRoomForMessage = 1024;
        if (size < kRoomForMessage) {
            throw std::bad_alloc();
        }
        throw OdError(kOdOutOfMemory);
    }
    return block;
}

void terminate(void* characters, bool isWide, std::size_t length)
{
    if (isWide) {
        static_cast<wchar_t*>(characters)[length] = L'\0';
    } else {
        static_cast<char*>(characters)[length] = '\0';
    }
}

}  // namespace

/// The form that a string wasn't made with; its characters follow.
struct OdString::Twin
{
    std::uint32_t length;

    void* data() { return this + 1; }

    static Twin* make(bool isWide, std::size_t length)
    {
        void* const block = allocateText(sizeof(Twin), isWide, length);
        Twin* const twin = ::new (block) Twin{static_cast<std::uint32_t>(length)};
        terminate(twin->data(), isWide, length);
        return twin;
    }
};

/// The counted head of a text in the form that the string was made with; its characters follow.
///
/// The own form says what the text is. The twin is published once by whoever makes it first and
/// then stays until the buffer is changed, which only its single owner does.
struct OdString::Buffer
{
    std::atomic<std::int32_t> refs{1};
    bool isWide;
    std::uint32_t length = 0;
    std::uint32_t capacity;
    std::atomic<Twin*> twin{nullptr};

    Buffer(bool wide, std::size_t room) : isWide(wide), capacity(static_cast<std::uint32_t>(room))
    {
    }

    void* data() { return this + 1; }
    wchar_t* wideData() { return static_cast<wchar_t*>(data()); }
    char* narrowData() { return static_cast<char*>(data()); }

    static Buffer* make(bool isWide, std::size_t capacity)
    {
        void* const block = allocateText(sizeof(Buffer), isWide, capacity);
        Buffer* const buffer = ::new (block) Buffer(isWide, capacity);
        terminate(buffer->data(), isWide, 0);
        return buffer;
    }

    void setLength(std::size_t newLength)
    {
        length = static_cast<std::uint32_t>(newLength);
        terminate(data(), isWide, newLength);
    }

    void dropTwin() { odrxFree(twin.exchange(nullptr, std::memory_order_acq_rel)); }

    /// Takes `made` as the twin, or frees it if another thread was faster. \return The twin.
    Twin* publish(Twin* made)
    {
        Twin* present = nullptr;
        if (twin.compare_exchange_strong(present, made, std::memory_order_acq_rel)) {
            return made;
        }
        odrxFree(made);
        return present;
    }
};

/// Lets the free functions below at the text of a string.
struct OdStringAccess
{
    using Buffer = OdString::Buffer;

    static OdStringText text(OdString const& string)
    {
        OdString::Buffer* const buffer = string.m_buffer;
        if (buffer == nullptr) {
            return {false, "", 0};
        }
        return {buffer->isWide, buffer->data(), buffer->length};
    }

    static OdString make(bool isWide, std::size_t capacity)
    {
        return OdString(OdString::Buffer::make(isWide, capacity));
    }

    static void append(OdString& string, OdStringText addition);
    static void copyTo(Buffer& buffer, std::size_t at, OdStringText text);
};

namespace {

OdStringText textOf(OdString const& string)
{
    return OdStringAccess::text(string);
}

OdStringText textOf(std::wstring_view text)
{
    return {true, text.data(), text.size()};
}

OdStringText textOf(std::string_view text)
{
    return {false, text.data(), text.size()};
}

std::wstring_view viewOf(wchar_t const* text)
{
    return text != nullptr ? std::wstring_view(text) : std::wstring_view(L"");
}

std::string_view viewOf(char const* text)
{
    return text != nullptr ? std::string_view(text) : std::string_view("");
}

std::size_t wideLength(OdStringText text)
{
    return text.isWide ? text.length : odUtf8::wideLength(text.narrow());
}

std::strong_ordering compareInTurn(OdStringReader left, OdStringReader right)
{
    wchar_t a = 0;
    wchar_t b = 0;
    while (true) {
        bool const hasLeft = left.next(a);
        bool const hasRight = right.next(b);
        if (!hasLeft || !hasRight) {
            return hasLeft <=> hasRight;
        }
        if (a != b) {
            return a <=> b;
        }
    }
}

std::strong_ordering compareWide(std::wstring_view left, std::wstring_view right)
{
    auto const at = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    if (at.first == left.end() || at.second == right.end()) {
        return left.size() <=> right.size();
    }
    return *at.first <=> *at.second;
}

/// Bytes order as characters do, except where they are no valid UTF-8. So the bytes are compared as
/// they are, and only the characters around the first difference are decoded.
std::strong_ordering compareNarrow(std::string_view left, std::string_view right)
{
    auto const differing = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    auto at = static_cast<std::size_t>(differing.first - left.begin());
    if (at == left.size() && at == right.size()) {
        return std::strong_ordering::equal;
    }
    // A byte that is no continuation always starts a character, whatever stands before it.
    while (at > 0) {
        --at;
        if (!odUtf8::isContinuation(left[at])) {
            break;
        }
    }
    return compareInTurn(OdStringReader(textOf(left.substr(at))),
                         OdStringReader(textOf(right.substr(at))));
}

std::strong_ordering compareTexts(OdStringText left, OdStringText right)
{
    if (left.isWide != right.isWide) {
        return compareInTurn(OdStringReader(left), OdStringReader(right));
    }
    return left.isWide ? compareWide(left.wide(), right.wide())
                       : compareNarrow(left.narrow(), right.narrow());
}

/// Different bytes never stand for the same characters, so equal forms are compared as they are.
bool equalTexts(OdStringText left, OdStringText right)
{
    if (left.isWide != right.isWide) {
        return compareInTurn(OdStringReader(left), OdStringReader(right)) == 0;
    }
    return left.isWide ? left.wide() == right.wide() : left.narrow() == right.narrow();
}

int sign(std::strong_ordering order)
{
    if (order == 0) {
        return 0;
    }
    return order < 0 ? -1 : 1;
}

/// Whether narrow text can be put behind other narrow text without a sequence crossing the joint,
/// where two invalid ends would become a valid character.
bool joinsCleanly(OdStringText addition)
{
    return !odUtf8::isContinuation(*addition.narrow().data());
}

template <class Map>
std::size_t hashText(OdStringText text, Map map)
{
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15U;
    std::uint64_t hash = kMultiplier;
    OdStringReader reader(text);
    wchar_t c = 0;
    while (reader.next(c)) {
        hash = (hash ^ static_cast<std::uint32_t>(map(c))) * kMultiplier;
        hash ^= hash >> 32;
    }
    return static_cast<std::size_t>(hash);
}

bool isSpace(wchar_t c)
{
    // The no-break spaces are left out: they are there to hold text together.
    constexpr std::wstring_view kSpaces =
        L" \t\n\v\f\r\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2008\u2009\u200A\u2028"
        L"\u2029\u205F\u3000";
    return kSpaces.find(c) != std::wstring_view::npos;
}

template <class IsCut>
std::size_t countFront(std::wstring_view text, IsCut isCut)
{
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isCut) -
                                    text.begin());
}

template <class IsCut>
std::size_t countBack(std::wstring_view text, IsCut isCut)
{
    return static_cast<std::size_t>(std::find_if_not(text.rbegin(), text.rend(), isCut) -
                                    text.rbegin());
}

auto isOneOf(std::wstring_view chars)
{
    return [chars](wchar_t c) { return chars.find(c) != std::wstring_view::npos; };
}

std::size_t clampPosition(std::int64_t position, std::size_t length)
{
    return static_cast<std::size_t>(
        std::clamp<std::int64_t>(position, 0, static_cast<std::int64_t>(length)));
}

int positionOf(std::size_t found)
{
    return found == std::wstring_view::npos ? -1 : static_cast<int>(found);
}

}  // namespace

// A constant, so that other static initialisers may use it.
constinit OdString const OdString::kEmpty;

OdString::OdString(wchar_t const* text) : OdString(fromWide(viewOf(text))) {}

OdString::OdString(char const* text, OdCodePageId codePage)
    : OdString(fromBytes(viewOf(text), codePage))
{
}

OdString::OdString(OdAnsiString const& text) : OdString(fromBytes(text.bytes(), text.codePage())) {}

OdString::OdString(wchar_t c, int count)
{
    if (count > 0) {
        auto const length = static_cast<std::size_t>(count);
        std::wmemset(makeWritable(length), c, length);
        setLength(length);
    }
}

OdString& OdString::operator=(OdString const& other) noexcept
{
    OdString(other).swap(*this);
    return *this;
}

OdString& OdString::operator=(OdString&& other) noexcept
{
    OdString(std::move(other)).swap(*this);
    return *this;
}

OdString OdString::fromUtf8(char const* bytes, std::size_t length)
{
    if (bytes == nullptr || length == 0) {
        return OdString();
    }
    OdString result = OdStringAccess::make(/*isWide=*/false, length);
    std::memcpy(result.m_buffer->narrowData(), bytes, length);
    result.m_buffer->setLength(length);
    return result;
}

OdString OdString::fromUtf8(std::string_view bytes)
{
    return fromUtf8(bytes.data(), bytes.size());
}

OdString OdString::fromWide(wchar_t const* text, std::size_t length)
{
    if (text == nullptr || length == 0) {
        return OdString();
    }
    OdString result = OdStringAccess::make(/*isWide=*/true, length);
    std::wmemcpy(result.m_buffer->wideData(), text, length);
    result.m_buffer->setLength(length);
    return result;
}

OdString OdString::fromWide(std::wstring_view text)
{
    return fromWide(text.data(), text.size());
}

void OdString::swap(OdString& other) noexcept
{
    std::swap(m_buffer, other.m_buffer);
}

void OdString::empty() noexcept
{
    OdString().swap(*this);
}

void OdString::addRef() const noexcept
{
    if (m_buffer != nullptr) {
        m_buffer->refs.fetch_add(1, std::memory_order_relaxed);
    }
}

void OdString::dropBuffer() noexcept
{
    if (m_buffer->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        m_buffer->dropTwin();
        m_buffer->~Buffer();
        odrxFree(m_buffer);
    }
}

bool OdString::isUnique() const noexcept
{
    return m_buffer != nullptr && m_buffer->refs.load(std::memory_order_acquire) == 1;
}

bool OdString::isEmpty() const noexcept
{
    return m_buffer == nullptr || m_buffer->length == 0;
}

int OdString::getLength() const noexcept
{
    if (m_buffer == nullptr) {
        return 0;
    }
    if (m_buffer->isWide) {
        return static_cast<int>(m_buffer->length);
    }
    if (Twin const* const twin = m_buffer->twin.load(std::memory_order_acquire)) {
        return static_cast<int>(twin->length);
    }
    return static_cast<int>(odUtf8::wideLength(textOf(*this).narrow()));
}

OdString::Twin* OdString::narrowTwin() const
{
    if (Twin* const present = m_buffer->twin.load(std::memory_order_acquire)) {
        return present;
    }
    std::wstring_view const own = textOf(*this).wide();
    Twin* const made = Twin::make(/*isWide=*/false, odUtf8::narrowLength(own));
    odUtf8::toNarrow(own, static_cast<char*>(made->data()));
    return m_buffer->publish(made);
}

OdString::Twin* OdString::wideTwin() const
{
    if (Twin* const present = m_buffer->twin.load(std::memory_order_acquire)) {
        return present;
    }
    std::string_view const own = textOf(*this).narrow();
    Twin* const made = Twin::make(/*isWide=*/true, odUtf8::wideLength(own));
    odUtf8::toWide(own, static_cast<wchar_t*>(made->data()));
    return m_buffer->publish(made);
}

std::wstring_view OdString::wide() const
{
    if (m_buffer == nullptr) {
        return L"";
    }
    if (m_buffer->isWide) {
        return textOf(*this).wide();
    }
    Twin* const twin = wideTwin();
    return {static_cast<wchar_t const*>(twin->data()), twin->length};
}

std::string_view OdString::utf8() const
{
    if (m_buffer == nullptr) {
        return "";
    }
    if (!m_buffer->isWide) {
        return textOf(*this).narrow();
    }
    Twin* const twin = narrowTwin();
    return {static_cast<char const*>(twin->data()), twin->length};
}

wchar_t const* OdString::c_str() const
{
    return wide().data();
}

OdString::operator char const*() const
{
    return utf8().data();
}

void OdString::appendUtf8To(std::string& bytes) const
{
    OdStringText const text = textOf(*this);
    if (!text.isWide) {
        bytes.append(text.narrow());
        return;
    }
    std::size_t const start = bytes.size();
    bytes.resize(start + odUtf8::narrowLength(text.wide()));
    odUtf8::toNarrow(text.wide(), bytes.data() + start);
}

wchar_t OdString::getAt(std::ptrdiff_t position) const
{
    std::wstring_view const text = wide();
    if (position < 0 || static_cast<std::size_t>(position) >= text.size()) {
        throw OdError_InvalidIndex();
    }
    return text[static_cast<std::size_t>(position)];
}

int OdString::find(wchar_t c, int start) const
{
    return positionOf(wide().find(c, static_cast<std::size_t>(std::max(start, 0))));
}

int OdString::find(OdString const& text, int start) const
{
    return positionOf(wide().find(text.wide(), static_cast<std::size_t>(std::max(start, 0))));
}

int OdString::reverseFind(wchar_t c) const
{
    return positionOf(wide().rfind(c));
}

OdString OdString::mid(int start) const
{
    return mid(start, INT_MAX);
}

OdString OdString::mid(int start, int count) const
{
    std::wstring_view const text = wide();
    std::size_t const first = clampPosition(start, text.size());
    std::size_t const end = clampPosition(std::int64_t{std::max(start, 0)} + count, text.size());
    if (first == 0 && end == text.size()) {
        return *this;
    }
    return end > first ? fromWide(text.substr(first, end - first)) : OdString();
}

OdString OdString::left(int count) const
{
    return mid(0, count);
}

OdString OdString::right(int count) const
{
    int const length = getLength();
    return mid(length - std::clamp(count, 0, length));
}

OdString OdString::spanExcluding(OdString const& chars) const
{
    std::size_t const end = wide().find_first_of(chars.wide());
    return end == std::wstring_view::npos ? *this : left(static_cast<int>(end));
}

/// Writes a text into the buffer's form from `at` on. The places may overlap.
void OdStringAccess::copyTo(Buffer& buffer, std::size_t at, OdStringText text)
{
    if (!buffer.isWide) {
        std::memmove(buffer.narrowData() + at, text.data, text.length);
    } else if (text.isWide) {
        std::wmemmove(buffer.wideData() + at, text.wide().data(), text.length);
    } else {
        odUtf8::toWide(text.narrow(), buffer.wideData() + at);
    }
}

/// Narrow text stays narrow if narrow text is added. `addition` may lie in the string itself, in
/// either form: the old text and its twin are dropped last.
void OdStringAccess::append(OdString& string, OdStringText addition)
{
    if (addition.length == 0) {
        return;
    }
    OdStringText const own = text(string);
    bool const narrow = !own.isWide && !addition.isWide && joinsCleanly(addition);
    std::size_t const ownLength = narrow ? own.length : wideLength(own);
    std::size_t const length = ownLength + (narrow ? addition.length : wideLength(addition));
    bool const ownForm = string.isUnique() && string.m_buffer->isWide != narrow;
    if (ownForm && string.m_buffer->capacity >= length) {
        copyTo(*string.m_buffer, ownLength, addition);
        string.m_buffer->dropTwin();
        string.m_buffer->setLength(length);
        return;
    }
    // A text that grows again and again gets room to spare; one that is put together once, none.
    std::size_t const spare = ownForm ? std::min(ownLength / 2, kMaxLength - ownLength) : 0;
    OdString fresh = make(!narrow, std::max(length, ownLength + spare));
    copyTo(*fresh.m_buffer, 0, own);
    copyTo(*fresh.m_buffer, ownLength, addition);
    fresh.m_buffer->setLength(length);
    fresh.swap(string);
}

/// The wide characters, in a buffer of this string alone with room for `capacity` of them.
wchar_t* OdString::makeWritable(std::size_t capacity)
{
    if (isUnique() && m_buffer->isWide && m_buffer->capacity >= capacity) {
        m_buffer->dropTwin();
        return m_buffer->wideData();
    }
    OdStringText const own = textOf(*this);
    std::size_t const length = wideLength(own);
    OdString fresh = OdStringAccess::make(/*isWide=*/true, std::max(capacity, length));
    OdStringAccess::copyTo(*fresh.m_buffer, 0, own);
    fresh.m_buffer->setLength(length);
    fresh.swap(*this);
    return m_buffer->wideData();
}

/// Ends a change of a writable buffer; an empty text gives its buffer up.
void OdString::setLength(std::size_t length) noexcept
{
    if (length == 0) {
        empty();
        return;
    }
    m_buffer->setLength(length);
}

void OdString::keepRange(std::size_t start, std::size_t length)
{
    if (start == 0 && length == wide().size()) {
        return;
    }
    if (isUnique() && m_buffer->isWide) {
        wchar_t* const data = makeWritable(0);
        std::wmemmove(data, data + start, length);
        setLength(length);
        return;
    }
    *this = fromWide(wide().substr(start, length));
}

OdString& OdString::operator+=(OdString const& text)
{
    if (isEmpty()) {
        return *this = text;
    }
    OdStringAccess::append(*this, textOf(text));
    return *this;
}

OdString& OdString::operator+=(wchar_t const* text)
{
    OdStringAccess::append(*this, textOf(viewOf(text)));
    return *this;
}

OdString& OdString::operator+=(char const* text)
{
    OdStringAccess::append(*this, textOf(viewOf(text)));
    return *this;
}

OdString& OdString::operator+=(wchar_t c)
{
    OdStringAccess::append(*this, {true, &c, 1});
    return *this;
}

OdString& OdString::insert(int position, OdString const& text)
{
    if (text.isEmpty()) {
        return *this;
    }
    std::wstring_view const own = wide();
    std::wstring_view const added = text.wide();
    std::size_t const at = clampPosition(position, own.size());
    OdString fresh = OdStringAccess::make(/*isWide=*/true, own.size() + added.size());
    wchar_t* const data = fresh.m_buffer->wideData();
    own.copy(data, at);
    added.copy(data + at, added.size());
    own.copy(data + at + added.size(), own.size() - at, at);
    fresh.setLength(own.size() + added.size());
    fresh.swap(*this);
    return *this;
}

OdString& OdString::setAt(int position, wchar_t c)
{
    if (position < 0 || position >= getLength()) {
        throw OdError_InvalidIndex();
    }
    makeWritable(0)[position] = c;
    return *this;
}

OdString& OdString::deleteChars(int position, int count)
{
    auto const length = static_cast<std::size_t>(getLength());
    std::size_t const start = clampPosition(position, length);
    std::size_t const end = clampPosition(std::int64_t{position} + std::max(count, 0), length);
    if (end <= start) {
        return *this;
    }
    wchar_t* const data = makeWritable(0);
    std::wmemmove(data + start, data + end, length - end);
    setLength(length - (end - start));
    return *this;
}

int OdString::remove(wchar_t c)
{
    std::wstring_view const text = wide();
    auto const count = std::count(text.begin(), text.end(), c);
    if (count == 0) {
        return 0;
    }
    std::size_t const length = text.size();
    wchar_t* const data = makeWritable(0);
    (void)std::remove(data, data + length, c);
    setLength(length - static_cast<std::size_t>(count));
    return static_cast<int>(count);
}

int OdString::replace(OdString const& oldText, OdString const& newText)
{
    std::wstring_view const own = wide();
    std::wstring_view const from = oldText.wide();
    std::wstring_view const to = newText.wide();
    if (from.empty()) {
        return 0;
    }
    std::size_t count = 0;
    std::wstring result;
    std::size_t start = 0;
    for (std::size_t at = own.find(from); at != std::wstring_view::npos;
         at = own.find(from, start)) {
        result.append(own, start, at - start);
        result.append(to);
        start = at + from.size();
        ++count;
    }
    if (count != 0) {
        result.append(own, start);
        *this = fromWide(result);
    }
    return static_cast<int>(count);
}

int OdString::replace(wchar_t oldChar, wchar_t newChar)
{
    std::wstring_view const text = wide();
    auto const count = std::count(text.begin(), text.end(), oldChar);
    if (count != 0) {
        std::size_t const length = text.size();
        wchar_t* const data = makeWritable(0);
        std::replace(data, data + length, oldChar, newChar);
    }
    return static_cast<int>(count);
}

OdString& OdString::makeUpper()
{
    OdStringReader reader(textOf(*this));
    wchar_t c = 0;
    bool hasLower = false;
    while (!hasLower && reader.next(c)) {
        hasLower = odToUpper(c) != c;
    }
    if (hasLower) {
        wchar_t* const data = makeWritable(0);
        std::transform(data, data + m_buffer->length, data, odToUpper);
    }
    return *this;
}

OdString& OdString::trimLeft()
{
    std::size_t const cut = countFront(wide(), isSpace);
    keepRange(cut, wide().size() - cut);
    return *this;
}

OdString& OdString::trimRight()
{
    keepRange(0, wide().size() - countBack(wide(), isSpace));
    return *this;
}

OdString& OdString::trimLeft(OdString const& chars)
{
    std::size_t const cut = countFront(wide(), isOneOf(chars.wide()));
    keepRange(cut, wide().size() - cut);
    return *this;
}

OdString& OdString::trimRight(OdString const& chars)
{
    keepRange(0, wide().size() - countBack(wide(), isOneOf(chars.wide())));
    return *this;
}

wchar_t* OdString::getBuffer(int minLength)
{
    wchar_t* const data = makeWritable(static_cast<std::size_t>(std::max(minLength, 0)));
    // Ends the search of releaseBuffer for a terminator that the caller may have left out.
    data[m_buffer->capacity] = L'\0';
    return data;
}

void OdString::releaseBuffer(int newLength)
{
    if (m_buffer == nullptr) {
        return;
    }
    if (!isUnique() || !m_buffer->isWide) {
        // A text that was not taken by getBuffer: its characters aren't this string's to look into.
        if (newLength > getLength()) {
            throw OdError(kOdInvalidInput);
        }
        if (newLength >= 0) {
            keepRange(0, static_cast<std::size_t>(newLength));
        }
        return;
    }
    std::size_t const capacity = m_buffer->capacity;
    if (newLength < 0) {
        setLength(std::wcslen(m_buffer->wideData()));
        return;
    }
    auto const length = static_cast<std::size_t>(newLength);
    setLength(std::min(length, capacity));
    if (length > capacity) {
        throw OdError(kOdInvalidInput);
    }
}

int OdString::compare(OdString const& other) const noexcept
{
    return sign(*this <=> other);
}

int OdString::iCompare(OdString const& other) const noexcept
{
    return odIcmp(*this, other);
}

bool operator==(OdString const& left, OdString const& right) noexcept
{
    OdStringText const a = textOf(left);
    OdStringText const b = textOf(right);
    return (a.data == b.data && a.length == b.length) || equalTexts(a, b);
}

bool operator==(OdString const& left, wchar_t const* right) noexcept
{
    return equalTexts(textOf(left), textOf(viewOf(right)));
}

bool operator==(OdString const& left, char const* right) noexcept
{
    return equalTexts(textOf(left), textOf(viewOf(right)));
}

std::strong_ordering operator<=>(OdString const& left, OdString const& right) noexcept
{
    return compareTexts(textOf(left), textOf(right));
}

std::strong_ordering operator<=>(OdString const& left, wchar_t const* right) noexcept
{
    return compareTexts(textOf(left), textOf(viewOf(right)));
}

std::strong_ordering operator<=>(OdString const& left, char const* right) noexcept
{
    return compareTexts(textOf(left), textOf(viewOf(right)));
}

int odIcmp(OdString const& left, OdString const& right) noexcept
{
    OdStringReader a(textOf(left));
    OdStringReader b(textOf(right));
    wchar_t c = 0;
    wchar_t d = 0;
    while (true) {
        bool const hasLeft = a.next(c);
        bool const hasRight = b.next(d);
        if (!hasLeft || !hasRight) {
            return sign(hasLeft <=> hasRight);
        }
        if (c != d && odToUpper(c) != odToUpper(d)) {
            return sign(odToUpper(c) <=> odToUpper(d));
        }
    }
}

OdString operator+(OdString left, OdString const& right)
{
    left += right;
    return left;
}

OdString operator+(OdString left, wchar_t const* right)
{
    left += right;
    return left;
}

OdString operator+(OdString left, char const* right)
{
    left += right;
    return left;
}

OdString operator+(OdString left, wchar_t right)
{
    left += right;
    return left;
}

OdString operator+(wchar_t const* left, OdString const& right)
{
    return OdString(left) += right;
}

OdString operator+(char const* left, OdString const& right)
{
    return OdString(left) += right;
}

OdString operator+(wchar_t left, OdString const& right)
{
    return OdString(left) += right;
}

std::size_t OdStringHash::operator()(OdString const& text) const noexcept
{
    return hashText(textOf(text), [](wchar_t c) { return c; });
}

std::size_t OdStringIHash::operator()(OdString const& text) const noexcept
{
    return hashText(textOf(text), odToUpper);
}
