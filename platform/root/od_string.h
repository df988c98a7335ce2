// Text: OdString, shared and wide on demand, and OdAnsiString, narrow text of a code page.

#pragma once

#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

static_assert(sizeof(wchar_t) == 4, "the platform's wide text has 32 bits a character");

/// How narrow text is coded. The numbers are the ones in use for these code pages everywhere.
enum class OdCodePageId : std::uint16_t
{
    kDefault = 0,        ///< what the platform itself writes: UTF-8
    kAnsi1252 = 1252,    ///< Western European of the desktop
    kIso8859_1 = 28591,  ///< Latin-1, the first 256 characters
    kUtf8 = 65001        ///< any text
};

class OdAnsiString;

/// Text, as a value that is cheap to copy.
///
/// Copies share one counted buffer until one of them is changed. A string made of narrow text keeps
/// the bytes, one made of wide text keeps the characters, each in a single allocation; the other
/// form is made when it is first asked for and shared by all copies from then on. The narrow form is
/// UTF-8, and bytes that aren't valid UTF-8 are carried through without loss, as od_utf8.h tells.
/// An empty string has no buffer at all.
///
/// Lengths and positions count wide characters. A character 0 inside the text is kept by everything
/// that knows the length; what takes or gives a plain pointer ends at it.
///
/// Copies may be used on different threads; one object may be read on several threads or changed on
/// one. Strings work before and after static initialisation.
///
/// Out of memory, or a text longer than `int` can count, throws OdError (out of memory) and leaves
/// the string as it was.
class OdString
{
public:
    /// The empty string.
    static OdString const kEmpty;

    /// \name Construction
    /// A null pointer gives the empty string.
    /// @{
    constexpr OdString() noexcept = default;
    OdString(wchar_t const* text);  // NOLINT: text converts to a string
    OdString(char const* text, OdCodePageId codePage = OdCodePageId::kUtf8);  // NOLINT
    OdString(OdAnsiString const& text);                                       // NOLINT
    /// `count` times the same character; none for a count below 1.
    explicit OdString(wchar_t c, int count = 1);
    OdString(OdString const& other) noexcept : m_buffer(other.m_buffer) { addRef(); }
    OdString(OdString&& other) noexcept : m_buffer(other.m_buffer) { other.m_buffer = nullptr; }
    ~OdString()
    {
        if (m_buffer != nullptr) {
            dropBuffer();
        }
    }
    OdString& operator=(OdString const& other) noexcept;
    OdString& operator=(OdString&& other) noexcept;

    /// Keeps the bytes as the narrow form, in one allocation; nothing is checked or converted.
    static OdString fromUtf8(char const* bytes, std::size_t length);
    static OdString fromUtf8(std::string_view bytes);
    static OdString fromWide(wchar_t const* text, std::size_t length);
    static OdString fromWide(std::wstring_view text);
    /// \throws OdError (bad input) for a code page that isn't one of `OdCodePageId`.
    static OdString fromBytes(std::string_view bytes, OdCodePageId codePage);

    void swap(OdString& other) noexcept;
    /// Makes the string empty.
    void empty() noexcept;
    /// @}

    /// \name Access
    /// Pointers and views live until the string is changed or ends; texts end with a 0.
    /// @{
    bool isEmpty() const noexcept;
    /// Number of wide characters; counted anew while there is only the narrow form.
    int getLength() const noexcept;
    wchar_t const* c_str() const;
    operator wchar_t const*() const { return c_str(); }  // NOLINT: conversion is the purpose
    operator char const*() const;                        // NOLINT: UTF-8
    std::wstring_view wide() const;
    std::string_view utf8() const;
    /// Makes the wide form now, so that later access to it allocates nothing.
    void syncUnicode() const { (void)c_str(); }
    /// Appends the UTF-8 bytes; unlike `utf8` it leaves no second form behind.
    void appendUtf8To(std::string& bytes) const;
    /// \throws OdError_InvalidIndex for a position outside 0 up to the length, which is excluded.
    wchar_t getAt(std::ptrdiff_t position) const;
    template <std::integral Index>
    wchar_t operator[](Index position) const
    {
        return getAt(static_cast<std::ptrdiff_t>(position));
    }
    /// @}

    /// \name Searching
    /// Positions are -1 where nothing is found. A start below 0 means 0. The empty text is found
    /// anywhere from 0 up to the length, which is included.
    /// @{
    int find(wchar_t c, int start = 0) const;
    int find(OdString const& text, int start = 0) const;
    int reverseFind(wchar_t c) const;
    /// @}

    /// \name Parts
    /// Positions and counts outside of the text are cut down to it.
    /// @{
    OdString mid(int start) const;
    OdString mid(int start, int count) const;
    OdString left(int count) const;
    OdString right(int count) const;
    /// The characters in front of the first one that occurs in `chars`; all if none does.
    OdString spanExcluding(OdString const& chars) const;
    /// @}

    /// \name Changes
    /// @{
    /// Replaces the text by `pattern`, filled in as by `printf`, the same in every locale.
    ///
    /// `%ls` and `%S` take a `wchar_t const*`, `%s` and `%hs` a UTF-8 `char const*`; null prints
    /// "(null)". `%c` and `%lc` take a character of any width. Of the rest, `d i o u x X e E f F g G
    /// a A p %` are known with all flags, widths, precisions and length modifiers. A conversion
    /// that isn't known is copied as it stands and takes no argument. Arguments may point into this
    /// string.
    OdString& format(wchar_t const* pattern, ...);
    OdString& formatV(wchar_t const* pattern, std::va_list args);

    OdString& operator+=(OdString const& text);
    OdString& operator+=(wchar_t const* text);
    OdString& operator+=(char const* text);
    OdString& operator+=(wchar_t c);
    /// Inserts in front of a position; one outside of the text is cut down to it.
    OdString& insert(int position, OdString const& text);
    /// \throws OdError_InvalidIndex for a position outside 0 up to the length, which is excluded.
    OdString& setAt(int position, wchar_t c);
    /// Takes out `count` characters; what lies outside of the text is ignored.
    OdString& deleteChars(int position, int count = 1);
    /// Takes out every `c`. \return How many there were.
    int remove(wchar_t c);
    /// Replaces every occurrence, from the front, without overlap. \return How many there were;
    /// 0 for an empty `oldText`.
    int replace(OdString const& oldText, OdString const& newText);
    int replace(wchar_t oldChar, wchar_t newChar);

    /// By the simple upper case of each character, in every locale the same; see od_case_map.h.
    OdString& makeUpper();
    /// Cut white space: the space, tabulator to carriage return, and the breaking spaces of Unicode.
    OdString& trimLeft();
    OdString& trimRight();
    /// Cut any of the characters in `chars`.
    OdString& trimLeft(OdString const& chars);
    OdString& trimRight(OdString const& chars);
    /// @}

    /// \name Direct writing
    /// @{
    /// A buffer of this string alone with room for `minLength` characters and a 0, holding the text
    /// so far. Until `releaseBuffer`, nothing else may be called.
    wchar_t* getBuffer(int minLength);
    /// Ends direct writing. \param newLength  Characters written, or -1 if the text ends with a 0.
    /// \throws OdError (bad input) for a length above that of the buffer; the text is then cut to
    ///         the buffer's length.
    void releaseBuffer(int newLength = -1);
    /// @}

    /// \name Comparing
    /// @{
    /// Below, equal to or above 0, character by character in order of their numbers.
    int compare(OdString const& other) const noexcept;
    /// As `compare` on the texts in upper case.
    int iCompare(OdString const& other) const noexcept;
    /// @}

private:
    struct Buffer;
    struct Twin;
    friend struct OdStringAccess;

    explicit OdString(Buffer* buffer) noexcept : m_buffer(buffer) {}
    void addRef() const noexcept;
    void dropBuffer() noexcept;
    Twin* narrowTwin() const;
    Twin* wideTwin() const;
    bool isUnique() const noexcept;
    wchar_t* makeWritable(std::size_t capacity);
    void setLength(std::size_t length) noexcept;
    void keepRange(std::size_t start, std::size_t length);

    Buffer* m_buffer = nullptr;
};

static_assert(sizeof(OdString) == sizeof(void*));

/// \name Comparing strings
/// By number, character by character, whichever form a string holds, embedded NULs included; for
/// wide forms without one that is what `wcscmp` answers. Narrow text is taken as UTF-8; a null
/// pointer is the empty text.
/// @{
bool operator==(OdString const& left, OdString const& right) noexcept;
bool operator==(OdString const& left, wchar_t const* right) noexcept;
bool operator==(OdString const& left, char const* right) noexcept;
std::strong_ordering operator<=>(OdString const& left, OdString const& right) noexcept;
std::strong_ordering operator<=>(OdString const& left, wchar_t const* right) noexcept;
std::strong_ordering operator<=>(OdString const& left, char const* right) noexcept;
/// Below, equal to or above 0 without regard to case: equal exactly if `makeUpper` gives equal texts.
int odIcmp(OdString const& left, OdString const& right) noexcept;
/// @}

OdString operator+(OdString left, OdString const& right);
OdString operator+(OdString left, wchar_t const* right);
OdString operator+(OdString left, char const* right);
OdString operator+(OdString left, wchar_t right);
OdString operator+(wchar_t const* left, OdString const& right);
OdString operator+(char const* left, OdString const& right);
OdString operator+(wchar_t left, OdString const& right);

/// Hash over the characters, the same for either form and in every run.
struct OdStringHash
{
    std::size_t operator()(OdString const& text) const noexcept;
};

/// Hash, equality and order for containers whose keys differ by more than case.
struct OdStringIHash
{
    std::size_t operator()(OdString const& text) const noexcept;
};
struct OdStringIEqual
{
    bool operator()(OdString const& left, OdString const& right) const noexcept
    {
        return odIcmp(left, right) == 0;
    }
};
struct OdStringILess
{
    bool operator()(OdString const& left, OdString const& right) const noexcept
    {
        return odIcmp(left, right) < 0;
    }
};

template <>
struct std::hash<OdString>
{
    std::size_t operator()(OdString const& text) const noexcept { return OdStringHash()(text); }
};

/// Narrow text together with its code page, for reading and writing bytes.
class OdAnsiString
{
public:
    OdAnsiString() = default;
    /// The text in a code page; a character that the page lacks becomes a question mark.
    OdAnsiString(OdString const& text,  // NOLINT: conversion is the purpose
                 OdCodePageId codePage = OdCodePageId::kUtf8);
    /// Bytes up to the first 0, as they are; null gives the empty text.
    OdAnsiString(char const* text,  // NOLINT: conversion is the purpose
                 OdCodePageId codePage = OdCodePageId::kUtf8);

    bool isEmpty() const noexcept { return m_text.empty(); }
    /// Number of bytes.
    int getLength() const noexcept { return static_cast<int>(m_text.size()); }
    OdCodePageId codePage() const noexcept { return m_codePage; }
    /// Ends with a 0; lives until the text is changed.
    char const* c_str() const noexcept { return m_text.c_str(); }
    operator char const*() const noexcept { return c_str(); }  // NOLINT: conversion is the purpose
    std::string_view bytes() const noexcept { return m_text; }

    /// A buffer with room for `minLength` bytes and a 0, holding the text so far. Until
    /// `releaseBuffer`, nothing else may be called.
    char* getBuffer(int minLength);
    /// Ends direct writing. \param newLength  Bytes written, or -1 if the text ends with a 0.
    /// \throws OdError (bad input) for a length above that of the buffer; the text is then cut to
    ///         the buffer's length.
    void releaseBuffer(int newLength = -1);

    friend bool operator==(OdAnsiString const&, OdAnsiString const&) = default;

private:
    std::string m_text;
    OdCodePageId m_codePage = OdCodePageId::kUtf8;
};
