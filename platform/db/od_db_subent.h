// Names of parts of entities: sub-entity ids and full paths to them.

#pragma once

#include "db/od_db_object_id.h"

#include <cstdint>

/// Names a face, an edge or a vertex of an entity by its number there, from 1.
class OdDbSubentId
{
public:
    constexpr OdDbSubentId() noexcept = default;
    constexpr OdDbSubentId(OdDb::SubentType type, std::int64_t index) noexcept
        : m_index(index), m_type(type)
    {
    }

    constexpr OdDb::SubentType type() const noexcept { return m_type; }
    constexpr std::int64_t index() const noexcept { return m_index; }
    constexpr void setType(OdDb::SubentType type) noexcept { m_type = type; }
    constexpr void setIndex(std::int64_t index) noexcept { m_index = index; }

    friend constexpr bool operator==(OdDbSubentId const&, OdDbSubentId const&) noexcept = default;

private:
    std::int64_t m_index = 0;
    OdDb::SubentType m_type = OdDb::SubentType::kNullSubentType;
};

/// A sub-entity and the way to its entity: block references from the outside in, the entity last.
class OdDbFullSubentPath
{
public:
    OdDbFullSubentPath() = default;
    OdDbFullSubentPath(OdDbObjectIdArray objectIds, OdDbSubentId subentId)
        : m_objectIds(std::move(objectIds)), m_subentId(subentId)
    {
    }

    OdDbObjectIdArray const& objectIds() const noexcept { return m_objectIds; }
    OdDbObjectIdArray& objectIds() noexcept { return m_objectIds; }
    OdDbSubentId const& subentId() const noexcept { return m_subentId; }
    void setObjectIds(OdDbObjectIdArray objectIds) { m_objectIds = std::move(objectIds); }
    void setSubentId(OdDbSubentId subentId) noexcept { m_subentId = subentId; }

    friend bool operator==(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right)
    {
        return left.m_subentId == right.m_subentId && left.m_objectIds == right.m_objectIds;
    }

private:
    OdDbObjectIdArray m_objectIds;
    OdDbSubentId m_subentId;
};
