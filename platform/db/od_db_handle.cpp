#include "db/od_db_handle.h"

#include <charconv>
#include <string_view>

OdDbHandle::OdDbHandle(OdString const& hexadecimal)
{
    const std::string_view text = hexadecimal.utf8();
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (error == std::errc() && end == text.data() + text.size()) {
        m_value = value;
    }
}

OdString OdDbHandle::ascii() const
{
    char text[17];
    char* at = text + sizeof text;
    std::uint64_t rest = m_value;
    do {
        *--at = "0123456789ABCDEF"[rest & 0xF];
        rest >>= 4;
    } while (rest != 0);
    return OdString::fromUtf8(at, static_cast<std::size_t>(text + sizeof text - at));
}
