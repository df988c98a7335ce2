// What the sources of OdString share: texts of either form and how to read through them.

#pragma once

#include "root/od_utf8.h"

#include <cstddef>
#include <string_view>

/// Borrowed text in one of its forms.
struct OdStringText
{
    bool isWide;
    void const* data;
    std::size_t length;  ///< characters of its form, without a terminator

    std::wstring_view wide() const { return {static_cast<wchar_t const*>(data), length}; }
    std::string_view narrow() const { return {static_cast<char const*>(data), length}; }
};

/// Reads the wide characters of a text in turn, converting nothing as a whole.
class OdStringReader
{
public:
    explicit OdStringReader(OdStringText text) : m_isWide(text.isWide)
    {
        if (m_isWide) {
            m_wide = text.wide().data();
            m_wideEnd = m_wide + text.length;
        } else {
            m_narrow = text.narrow().data();
            m_narrowEnd = m_narrow + text.length;
        }
    }

    /// False at the end.
    bool next(wchar_t& c)
    {
        if (m_isWide) {
            if (m_wide == m_wideEnd) {
                return false;
            }
            c = *m_wide++;
            return true;
        }
        if (m_narrow == m_narrowEnd) {
            return false;
        }
        c = odUtf8::decode(m_narrow, m_narrowEnd);
        return true;
    }

private:
    bool m_isWide;
    wchar_t const* m_wide = nullptr;
    wchar_t const* m_wideEnd = nullptr;
    char const* m_narrow = nullptr;
    char const* m_narrowEnd = nullptr;
};
