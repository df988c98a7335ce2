// One entity of every kind, with something in each field.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_entity.h"

#include <string>
#include <vector>

namespace dbtest {

struct EntitySample
{
    std::string name;
    OdDbEntityPtr entity;
};

/// Entities outside any database, which refer to objects of `db`. Their planes are tilted, and they
/// lie off the origin.
std::vector<EntitySample> sampleEntities(OdDbDatabase& db);

/// Gives an entity properties that differ from those it starts with.
void giveProperties(OdDbDatabase& db, OdDbEntity& entity);

/// The normal of an entity of one of the plane kinds; the zero vector for others.
OdGeVector3d normalOf(OdDbEntity const& entity);

}  // namespace dbtest
