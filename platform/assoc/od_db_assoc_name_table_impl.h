// The names of a network's variables, compared without case.

#pragma once

#include "assoc/od_db_assoc_flat_table_impl.h"
#include "db/od_db_object_id.h"
#include "root/od_string.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

/// Names and the variables that have them.
///
/// Names are kept in capitals and one behind the other, in the order in which they came, so a search
/// touches one slot, one entry and one piece of text, of which the last two lie next to those of the
/// search before where names are looked up in the order of their making.
class OdDbAssocNameTable
{
public:
    void clear();
    void enter(OdString const& name, OdDbObjectId id);
    /// Takes a variable out of those of a name; one that isn't there is no error.
    void leave(OdString const& name, OdDbObjectId id);
    /// Calls `visit` for each variable of a name, in no particular order.
    template <class Visit>
    void forEach(OdString const& name, Visit const& visit)
    {
        setKey(name);
        Named const* const named = find();
        if (named == nullptr) {
            return;
        }
        visit(named->id);
        const auto others = m_others.empty() ? m_others.end() : m_others.find(m_key);
        if (others != m_others.end()) {
            for (OdDbObjectId id : others->second) {
                visit(id);
            }
        }
    }

private:
    /// Nearly every name has one variable.
    struct Named
    {
        std::uint32_t hash = 0;
        std::uint32_t length = 0;  ///< of the text, in bytes
        std::size_t textAt = 0;    ///< in the texts
        OdDbObjectId id;
    };

    void setKey(OdString const& name);
    Named* find();
    void dropText(std::size_t length);
    std::string_view textOf(Named const& named) const noexcept
    {
        return std::string_view(m_texts).substr(named.textAt, named.length);
    }

    OdDbAssocFlatTable<Named> m_named;
    std::string m_texts;
    std::size_t m_unused = 0;  ///< bytes of texts whose names are gone
    std::unordered_map<std::string, std::set<OdDbObjectId>>
        m_others;              ///< beside the one in the entry
    std::string m_key;         ///< the name of the call under way
    std::uint32_t m_hash = 0;  ///< of it
};
