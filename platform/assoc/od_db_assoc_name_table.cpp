#include "assoc/od_db_assoc_name_table_impl.h"
#include "root/od_case_map.h"

#include <functional>
#include <utility>

void OdDbAssocNameTable::clear()
{
    *this = OdDbAssocNameTable();
}

/// Spells a name in capitals, seven bits of a character in a byte: one byte for most of them. The
/// highest bit tells that another byte of the character follows, so texts are equal only if all
/// their characters are.
void OdDbAssocNameTable::setKey(OdString const& name)
{
    constexpr std::uint32_t kContinued = 0x80;
    m_key.clear();
    for (wchar_t c : name.wide()) {
        auto rest = static_cast<std::uint32_t>(odToUpper(c));
        for (; rest >= kContinued; rest >>= 7U) {
            m_key.push_back(static_cast<char>((rest & (kContinued - 1)) | kContinued));
        }
        m_key.push_back(static_cast<char>(rest));
    }
    m_hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(m_key));
}

OdDbAssocNameTable::Named* OdDbAssocNameTable::find()
{
    return m_named.find(m_hash, [&](Named const& named) { return textOf(named) == m_key; });
}

void OdDbAssocNameTable::enter(OdString const& name, OdDbObjectId id)
{
    setKey(name);
    if (Named const* const named = find()) {
        if (named->id != id) {
            m_others[m_key].insert(id);
        }
        return;
    }
    m_named.insert({m_hash, static_cast<std::uint32_t>(m_key.size()), m_texts.size(), id});
    m_texts += m_key;
}

void OdDbAssocNameTable::leave(OdString const& name, OdDbObjectId id)
{
    setKey(name);
    Named* const named = find();
    if (named == nullptr) {
        return;
    }
    const auto others = m_others.find(m_key);
    if (named->id != id) {
        if (others != m_others.end()) {
            others->second.erase(id);
        }
    } else if (others != m_others.end() && !others->second.empty()) {
        named->id = *others->second.begin();
        others->second.erase(others->second.begin());
    } else {
        const std::size_t length = named->length;
        m_named.erase(named);
        dropText(length);
    }
    if (others != m_others.end() && others->second.empty()) {
        m_others.erase(others);
    }
}

/// Counts text that is used no more; when half of it all is such, the rest moves together.
void OdDbAssocNameTable::dropText(std::size_t length)
{
    constexpr std::size_t kMostUnused = 4096;
    m_unused += length;
    if (m_unused <= kMostUnused || m_unused <= m_texts.size() / 2) {
        return;
    }
    std::string texts;
    texts.reserve(m_texts.size() - m_unused);
    for (Named& named : m_named.entries()) {
        const std::size_t at = texts.size();
        texts += textOf(named);
        named.textAt = at;
    }
    m_texts = std::move(texts);
    m_unused = 0;
}
