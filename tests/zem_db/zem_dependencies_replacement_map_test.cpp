#include "ge/od_ge_plane.h"

#include "stored_link_test_support.h"
#include "zem_db_object.h"
#include "zem_dependencies_replacement_map.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <set>

using namespace stored_link_test;

namespace {

using IdSet = ZemDependenciesReplacementMap::IdSet;

class ReplacementMap : public StoredLinkTest
{
protected:
    /// A link to a solid of its own.
    OdDbObjectId newLink()
    {
        return addLink(OdDbFullSubentPath({appendSolid(m_model)}, OdDbSubentId(kFace, 1)));
    }
    static OdDbObjectId insertOf(OdDbObjectId link) { return open(link)->getInsertId(); }

    ZemDependenciesReplacementMap m_map;
    OdDbObjectId m_first = newLink();
    OdDbObjectId m_second = newLink();
    OdDbObjectId m_third = newLink();
    OdDbObjectId m_fourth = newLink();
};
class TransformedObjects : public ReplacementMap
{
protected:
    static OdGeMatrix3d shift(double by)
    {
        return OdGeMatrix3d::translation(OdGeVector3d(by, 0, 0));
    }
};

OdDbObjectIdArray sorted(OdDbObjectIdArray ids)
{
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// The whole

TEST_F(ReplacementMap, IsEmptyAtFirst)
{
    EXPECT_TRUE(m_map.isEmpty());
    EXPECT_TRUE(m_map.isEmptyReplacementDeps());
    EXPECT_TRUE(m_map.getAll().isEmpty());
    EXPECT_TRUE(m_map.modifiedEnts().isEmpty());
    EXPECT_TRUE(m_map.entsToRedraw().empty());
}

TEST_F(ReplacementMap, IsEmptyWithEntitiesToRedrawReloadedBlocksAndErasedInstancesAlone)
{
    m_map.addEntsToRegen(m_solid);
    EXPECT_TRUE(m_map.isEmpty());
    m_map.appendBtrReloadingPair(m_inner, m_outer);
    m_map.instanceToBeErased(m_solid, m_outerReference);
    EXPECT_TRUE(m_map.isEmpty());
}

TEST_F(ReplacementMap, IsNotEmptyWithAnythingElse)
{
    using Fill = void (*)(ZemDependenciesReplacementMap&, OdDbObjectId);
    constexpr Fill kFills[] = {
        [](auto& map, OdDbObjectId id) { map.appendClone(id); },
        [](auto& map, OdDbObjectId id) { map.append(id, {}); },
        [](auto& map, OdDbObjectId id) { map.addTransformedObject(id, OdGeMatrix3d(), false); },
        [](auto& map, OdDbObjectId id) { map.appendModifiedEnt(id); },
    };
    for (Fill const& fill : kFills) {
        ZemDependenciesReplacementMap map;
        fill(map, m_solid);
        EXPECT_FALSE(map.isEmpty()) << &fill - kFills;
        EXPECT_EQ(map.isEmptyReplacementDeps(), &fill - kFills != 1);
    }
}

TEST_F(ReplacementMap, ClearForgetsClonesReplacementsAndMovedObjectsAlone)
{
    m_map.appendClone(m_first);
    m_map.append(m_first, {m_second});
    m_map.addTransformedObject(m_solid, OdGeMatrix3d(), false);
    m_map.appendModifiedEnt(m_solid);
    m_map.appendBtrReloadingPair(m_inner, m_outer);
    m_map.instanceToBeErased(m_solid, m_outerReference);
    const std::size_t toRedraw = m_map.entsToRedraw().size();
    m_map.clear();
    EXPECT_FALSE(m_map.containsClone(m_first));
    EXPECT_TRUE(m_map.isEmptyReplacementDeps());
    EXPECT_TRUE(m_map.getReplacedWith(m_second).isEmpty());
    EXPECT_EQ(m_map.findTransformedObject(m_solid), nullptr);
    EXPECT_EQ(m_map.modifiedEnts(), OdDbObjectIdArray{m_solid});
    EXPECT_EQ(m_map.findBtrBeforeReloading(m_inner), m_outer);
    EXPECT_EQ(m_map.findBRForErasedInstance(m_solid), m_outerReference);
    EXPECT_EQ(m_map.entsToRedraw().size(), toRedraw);
    EXPECT_TRUE(m_map.append(m_first, {m_third}));
}

//--------------------------------------------------------------------------------------------------
// Replaced links

TEST_F(ReplacementMap, KnowsTheSuccessorsOfALink)
{
    EXPECT_TRUE(m_map.append(m_first, {m_second, m_third}));
    IdSet found{m_fourth};
    EXPECT_TRUE(m_map.contains(m_first, found));
    EXPECT_EQ(found, (IdSet{m_second, m_third}));
    EXPECT_EQ(m_map.getReplacement(m_first), (IdSet{m_second, m_third}));
    ASSERT_NE(m_map.findReplacement(m_first), nullptr);
    EXPECT_EQ(*m_map.findReplacement(m_first), (IdSet{m_second, m_third}));
}

TEST_F(ReplacementMap, TheFirstReplacementOfALinkWins)
{
    EXPECT_TRUE(m_map.append(m_first, {m_second}));
    const std::size_t toRedraw = m_map.entsToRedraw().size();
    EXPECT_FALSE(m_map.append(m_first, {m_third}));
    EXPECT_EQ(m_map.getReplacement(m_first), IdSet{m_second});
    EXPECT_TRUE(m_map.getReplacedWith(m_third).isEmpty());
    EXPECT_EQ(m_map.entsToRedraw().size(), toRedraw);
}

TEST_F(ReplacementMap, AnUnknownLinkHasNoSuccessors)
{
    m_map.append(m_first, {m_second});
    IdSet found{m_fourth};
    EXPECT_FALSE(m_map.contains(m_third, found));
    EXPECT_TRUE(found.empty());
    EXPECT_TRUE(m_map.getReplacement(m_third).empty());
    EXPECT_EQ(m_map.findReplacement(m_third), nullptr);
    EXPECT_FALSE(m_map.contains(OdDbObjectId(), found));
}

TEST_F(ReplacementMap, ALinkMayHaveNoSuccessors)
{
    EXPECT_TRUE(m_map.append(m_first, {}));
    IdSet found{m_fourth};
    EXPECT_TRUE(m_map.contains(m_first, found));
    EXPECT_TRUE(found.empty());
    EXPECT_FALSE(m_map.update(m_first, m_second, {m_third}));
}

TEST_F(ReplacementMap, HasTheStartsOfAllPathsDrawnAgain)
{
    m_map.append(m_first, {m_second, m_third});
    EXPECT_EQ(m_map.entsToRedraw(),
              (IdSet{insertOf(m_first), insertOf(m_second), insertOf(m_third)}));
    m_map.clearEntsToRedraw();
    EXPECT_TRUE(m_map.entsToRedraw().empty());
    EXPECT_FALSE(m_map.isEmptyReplacementDeps());
}

TEST_F(ReplacementMap, WhatIsNoLinkIsEnteredAndDrawsNothing)
{
    erase(m_fourth);
    const IdSet noLinks{m_solid, OdDbObjectId(), nowhere(), m_fourth};
    for (OdDbObjectId id : noLinks) {
        EXPECT_TRUE(m_map.append(id, noLinks));
        EXPECT_EQ(m_map.getReplacement(id), noLinks);
    }
    EXPECT_TRUE(m_map.entsToRedraw().empty());
}

TEST_F(ReplacementMap, RemovesOneEntry)
{
    m_map.append(m_first, {m_second, m_third});
    m_map.append(m_fourth, {m_second});
    m_map.remove(m_first);
    IdSet found;
    EXPECT_FALSE(m_map.contains(m_first, found));
    EXPECT_EQ(m_map.getAll(), OdDbObjectIdArray{m_fourth});
    EXPECT_EQ(m_map.getReplacedWith(m_second), OdDbObjectIdArray{m_fourth});
    EXPECT_FALSE(m_map.findReplacedWith(m_third, nullptr));
    m_map.remove(m_first);
    EXPECT_EQ(m_map.getAll(), OdDbObjectIdArray{m_fourth});
    EXPECT_TRUE(m_map.append(m_first, {m_third}));
}

TEST_F(ReplacementMap, UpdateShortensAChain)
{
    m_map.append(m_first, {m_second, m_third});
    EXPECT_TRUE(m_map.update(m_first, m_second, {m_fourth, m_third}));
    EXPECT_EQ(m_map.getReplacement(m_first), (IdSet{m_third, m_fourth}));
    EXPECT_FALSE(m_map.findReplacedWith(m_second, nullptr));
    EXPECT_EQ(m_map.getReplacedWith(m_fourth), OdDbObjectIdArray{m_first});
}

TEST_F(ReplacementMap, UpdateTakesAMemberOutOfTheEntryItself)
{
    m_map.append(m_first, {m_second});
    EXPECT_TRUE(m_map.update(m_first, *m_map.findReplacement(m_first)->begin(), {m_third}));
    EXPECT_EQ(m_map.getReplacement(m_first), IdSet{m_third});
    EXPECT_FALSE(m_map.findReplacedWith(m_second, nullptr));
}

TEST_F(ReplacementMap, UpdateMayPutTheMemberBack)
{
    m_map.append(m_first, {m_second});
    EXPECT_TRUE(m_map.update(m_first, m_second, {m_second, m_third}));
    EXPECT_EQ(m_map.getReplacement(m_first), (IdSet{m_second, m_third}));
    EXPECT_EQ(m_map.getReplacedWith(m_second), OdDbObjectIdArray{m_first});
}

TEST_F(ReplacementMap, UpdateTakesTheEntrysOwnSuccessors)
{
    m_map.append(m_first, {m_second, m_third});
    IdSet const& own = *m_map.findReplacement(m_first);
    EXPECT_TRUE(m_map.update(m_first, m_second, own));
    EXPECT_EQ(m_map.getReplacement(m_first), IdSet{m_third});
}

TEST_F(ReplacementMap, UpdateOfWhatIsNoSuccessorKeepsTheSet)
{
    m_map.append(m_first, {m_second});
    EXPECT_FALSE(m_map.update(m_first, m_third, {m_fourth}));
    EXPECT_FALSE(m_map.update(m_second, m_first, {m_fourth}));
    EXPECT_EQ(m_map.getReplacement(m_first), IdSet{m_second});
    EXPECT_TRUE(m_map.getReplacedWith(m_fourth).isEmpty());
}

TEST_F(ReplacementMap, UpdateOfAnEntryWithoutSuccessorsChangesNothing)
{
    m_map.append(m_first, {});
    EXPECT_FALSE(m_map.update(m_first, m_second, {m_third}));
    EXPECT_FALSE(m_map.update(m_first, OdDbObjectId(), {m_third}));
    IdSet found{m_fourth};
    EXPECT_TRUE(m_map.contains(m_first, found));
    EXPECT_TRUE(found.empty());
}

TEST_F(ReplacementMap, UpdateByNothingLeavesAnEntryWithoutSuccessors)
{
    m_map.append(m_first, {m_second});
    EXPECT_TRUE(m_map.update(m_first, m_second, {}));
    IdSet found{m_fourth};
    EXPECT_TRUE(m_map.contains(m_first, found));
    EXPECT_TRUE(found.empty());
    EXPECT_FALSE(m_map.findReplacedWith(m_second, nullptr));
    EXPECT_FALSE(m_map.update(m_first, m_second, {m_third})) << "there is none to replace";
}

TEST_F(ReplacementMap, AnErasedLinkIsEnteredAndDrawsNothingWhileItsSuccessorsDo)
{
    erase(m_first);
    EXPECT_TRUE(m_map.append(m_first, {m_second}));
    EXPECT_EQ(m_map.getReplacement(m_first), IdSet{m_second});
    EXPECT_EQ(m_map.entsToRedraw(), IdSet{insertOf(m_second)});
    erase(m_third);
    m_map.clearEntsToRedraw();
    EXPECT_TRUE(m_map.append(m_fourth, {m_third}));
    EXPECT_EQ(m_map.getReplacedWith(m_third), OdDbObjectIdArray{m_fourth});
    EXPECT_EQ(m_map.entsToRedraw(), IdSet{insertOf(m_fourth)});
}

TEST_F(ReplacementMap, UpdateHasNothingDrawnAgain)
{
    m_map.append(m_first, {m_second});
    m_map.clearEntsToRedraw();
    EXPECT_TRUE(m_map.update(m_first, m_second, {m_fourth}));
    EXPECT_TRUE(m_map.entsToRedraw().empty());
}

TEST_F(ReplacementMap, FindsTheLinksThatALinkReplaces)
{
    m_map.append(m_first, {m_third});
    m_map.append(m_second, {m_third, m_fourth});
    EXPECT_TRUE(m_map.findReplacedWith(m_third, nullptr));
    EXPECT_FALSE(m_map.findReplacedWith(m_first, nullptr));
    OdDbObjectIdArray ids{m_solid};
    EXPECT_TRUE(m_map.findReplacedWith(m_third, &ids));
    EXPECT_EQ(ids, (OdDbObjectIdArray{m_solid, m_first, m_second}));
    EXPECT_FALSE(m_map.findReplacedWith(m_first, &ids));
    EXPECT_EQ(ids.size(), 3u);
    EXPECT_EQ(m_map.getReplacedWith(m_fourth), OdDbObjectIdArray{m_second});
}

TEST_F(ReplacementMap, AnIdAndTheOneItIsRedirectedToAreOneKey)
{
    const OdDbObjectId alias = m_other->getOdDbObjectId(OdDbHandle(0x7777), /*create=*/true);
    alias.redirectTo(m_first);
    m_map.append(m_first, {m_second});
    EXPECT_EQ(m_map.getReplacement(alias), IdSet{m_second});
    EXPECT_FALSE(m_map.append(alias, {m_third}));
    m_map.appendClone(alias);
    EXPECT_TRUE(m_map.containsClone(m_first));
    alias.redirectTo(OdDbObjectId());
}

TEST_F(ReplacementMap, FindsWhatWasEnteredBeforeAnIdWasRedirected)
{
    const OdDbObjectId alias = m_other->getOdDbObjectId(OdDbHandle(0x7778), /*create=*/true);
    m_map.append(alias, {m_second});
    m_map.append(m_third, {alias});
    m_map.appendClone(alias);
    m_map.addEntsToRegen(alias);
    m_map.appendBtrReloadingPair(alias, m_fourth);
    alias.redirectTo(m_first);
    EXPECT_EQ(m_map.getReplacement(m_first), IdSet{m_second});
    EXPECT_EQ(m_map.getReplacement(alias), IdSet{m_second});
    EXPECT_EQ(m_map.getReplacedWith(m_first), OdDbObjectIdArray{m_third});
    EXPECT_TRUE(m_map.containsClone(m_first));
    EXPECT_TRUE(m_map.entsToRedraw().contains(m_first));
    EXPECT_EQ(m_map.findBtrBeforeReloading(m_first), m_fourth);
    EXPECT_FALSE(m_map.append(m_first, {m_fourth}));
    m_map.remove(m_first);
    EXPECT_TRUE(m_map.getReplacedWith(m_second).isEmpty());
    alias.redirectTo(OdDbObjectId());
}

TEST_F(ReplacementMap, JoinsLinksThatCameToBeOneByARedirection)
{
    const OdDbObjectId alias = m_other->getOdDbObjectId(OdDbHandle(0x7779), /*create=*/true);
    m_map.append(alias, {m_second});
    m_map.append(m_first, {m_third});
    alias.redirectTo(m_first);
    EXPECT_EQ(m_map.getReplacement(m_first), (IdSet{m_second, m_third}));
    EXPECT_EQ(m_map.getAll().size(), 1u);
    alias.redirectTo(OdDbObjectId());
}

TEST_F(ReplacementMap, GivesAllKeysInTheOrderOfIds)
{
    m_map.append(m_third, {m_fourth});
    m_map.append(m_first, {});
    m_map.append(m_second, {m_fourth});
    EXPECT_EQ(m_map.getAll(), sorted({m_first, m_second, m_third}));
    EXPECT_EQ(m_map.getReplacedWith(m_fourth), sorted({m_second, m_third}));
}

//--------------------------------------------------------------------------------------------------
// Clones, entities, blocks and instances

TEST_F(ReplacementMap, KnowsClones)
{
    EXPECT_FALSE(m_map.containsClone(m_first));
    m_map.appendClone(m_first);
    m_map.appendClone(m_first);
    EXPECT_TRUE(m_map.containsClone(m_first));
    EXPECT_FALSE(m_map.containsClone(m_second));
}

TEST_F(ReplacementMap, ListsEachModifiedEntityOnceInTheOrderOfIds)
{
    m_map.appendModifiedEnt(m_third);
    m_map.appendModifiedEnt(m_first);
    m_map.appendModifiedEnt(m_third);
    EXPECT_EQ(m_map.modifiedEnts(), sorted({m_first, m_third}));
    EXPECT_EQ(m_map.modifiedEnts().capacity(), 2u);
    m_map.cleanModifiedEnt();
    EXPECT_TRUE(m_map.modifiedEnts().isEmpty());
    EXPECT_TRUE(m_map.isEmpty());
}

TEST_F(ReplacementMap, ALaterReloadingOrInstanceReplacesTheOneBefore)
{
    EXPECT_TRUE(m_map.findBtrBeforeReloading(m_inner).isNull());
    m_map.appendBtrReloadingPair(m_inner, m_outer);
    m_map.appendBtrReloadingPair(m_inner, m_model);
    EXPECT_EQ(m_map.findBtrBeforeReloading(m_inner), m_model);
    EXPECT_TRUE(m_map.findBRForErasedInstance(m_solid).isNull());
    m_map.instanceToBeErased(m_solid, m_outerReference);
    m_map.instanceToBeErased(m_solid, m_innerReference);
    EXPECT_EQ(m_map.findBRForErasedInstance(m_solid), m_innerReference);
}

//--------------------------------------------------------------------------------------------------
// Moved objects

TEST_F(TransformedObjects, AMotionIsRigidAndAMirrorOrAScaleIsNot)
{
    using Data = ZemDependenciesReplacementMap::TransformedData;
    EXPECT_TRUE(Data(OdGeMatrix3d(), false).isRigid);
    EXPECT_TRUE(Data(shift(1e6), false).isRigid);
    EXPECT_TRUE(Data(OdGeMatrix3d::rotation(1.0, OdGeVector3d(0, 0, 1)), false).isRigid);
    EXPECT_FALSE(Data(OdGeMatrix3d::mirroring(OdGePoint3d()), false).isRigid);
    EXPECT_FALSE(Data(OdGeMatrix3d::scaling(1.001), false).isRigid);
    EXPECT_FALSE(Data(OdGeMatrix3d::scaling(1.0 + 1e-12), false).isRigid);
    EXPECT_TRUE(Data(OdGeMatrix3d::scaling(1.0 + 1e-14), false).isRigid);
    EXPECT_TRUE(Data(shift(1), true).suppressTransform);
    EXPECT_FALSE(Data(shift(1), false).suppressTransform);
    EXPECT_EQ(Data(shift(1), false).matrix, shift(1));
}

TEST_F(TransformedObjects, TheLaterMotionReplacesTheEarlier)
{
    EXPECT_EQ(m_map.findTransformedObject(m_solid), nullptr);
    EXPECT_FALSE(m_map.addTransformedObject(m_solid, shift(1), false));
    EXPECT_FALSE(m_map.addTransformedObject(m_solid, shift(2), false));
    ASSERT_NE(m_map.findTransformedObject(m_solid), nullptr);
    EXPECT_EQ(m_map.findTransformedObject(m_solid)->matrix, shift(2));
    EXPECT_FALSE(m_map.findTransformedObject(m_solid)->suppressTransform);
    EXPECT_EQ(m_map.findTransformedObject(m_first), nullptr);
}

TEST_F(TransformedObjects, OnceSuppressedStaysSuppressed)
{
    EXPECT_TRUE(m_map.addTransformedObject(m_solid, shift(1), true));
    EXPECT_TRUE(m_map.addTransformedObject(m_solid, shift(2), false));
    EXPECT_TRUE(m_map.findTransformedObject(m_solid)->suppressTransform);
    EXPECT_EQ(m_map.findTransformedObject(m_solid)->matrix, shift(2));
    EXPECT_TRUE(m_map.addTransformedObject(m_solid, shift(3), true));
}

TEST_F(TransformedObjects, SuppressingLaterTellsTheCompanion)
{
    const OdDbObjectId entity = appendSolid(m_model);
    OdSmartPtr<ZemDbObject> companion = odrxMake<ZemDbObject>();
    m_database->addOdDbObject(companion.get());
    companion->attachTo(entity);
    companion->addTransform(shift(5));
    EXPECT_TRUE(companion->canTransformBeApplied());
    m_map.addTransformedObject(entity, shift(1), false);
    EXPECT_TRUE(companion->canTransformBeApplied());
    EXPECT_TRUE(m_map.addTransformedObject(entity, shift(2), true));
    EXPECT_FALSE(companion->canTransformBeApplied());
    EXPECT_TRUE(m_map.findTransformedObject(entity)->suppressTransform);
}

TEST_F(TransformedObjects, SuppressingAtOnceTellsNobody)
{
    const OdDbObjectId entity = appendSolid(m_model);
    OdSmartPtr<ZemDbObject> companion = odrxMake<ZemDbObject>();
    m_database->addOdDbObject(companion.get());
    companion->attachTo(entity);
    companion->addTransform(shift(5));
    EXPECT_TRUE(m_map.addTransformedObject(entity, shift(1), true));
    EXPECT_TRUE(m_map.addTransformedObject(entity, shift(2), true));
    EXPECT_TRUE(companion->canTransformBeApplied());
}

TEST_F(TransformedObjects, WithoutACompanionAreEnteredAllTheSame)
{
    for (OdDbObjectId id : {m_solid, m_inner, nowhere(), OdDbObjectId()}) {
        EXPECT_FALSE(m_map.addTransformedObject(id, shift(1), false));
        EXPECT_TRUE(m_map.addTransformedObject(id, shift(2), true));
        EXPECT_EQ(m_map.findTransformedObject(id)->matrix, shift(2));
    }
}

//--------------------------------------------------------------------------------------------------
// Against a plain model

namespace {

/// What the map is asked for, kept in plain sets of numbers.
using Model = std::map<int, std::set<int>>;

class ReplacementMapModel
{
public:
    static constexpr int kIds = 8;

    explicit ReplacementMapModel(OdDbDatabase& database)
    {
        for (int number = 0; number < kIds; ++number) {
            m_ids.push_back(database.getOdDbObjectId(
                OdDbHandle(0x8000u + static_cast<unsigned>(number)), true));
        }
    }

    void step(int operation, int first, int second, std::set<int> const& members)
    {
        switch (operation) {
        case 0:
            RC_ASSERT(map.append(m_ids[first], toIds(members)) ==
                      model.emplace(first, members).second);
            break;
        case 1:
            RC_ASSERT(map.update(m_ids[first], m_ids[second], toIds(members)) ==
                      update(first, second, members));
            break;
        case 2:
            map.remove(m_ids[first]);
            model.erase(first);
            break;
        default:
            map.clear();
            model.clear();
            break;
        }
        compare();
    }

private:
    bool update(int first, int second, std::set<int> const& members)
    {
        const auto entry = model.find(first);
        if (entry == model.end() || entry->second.erase(second) == 0) {
            return false;
        }
        entry->second.insert(members.begin(), members.end());
        return true;
    }
    void compare() const
    {
        OdDbObjectIdArray keys;
        for (auto const& [key, members] : model) {
            keys.append(m_ids[key]);
            RC_ASSERT(map.getReplacement(m_ids[key]) == toIds(members));
        }
        RC_ASSERT(map.getAll() == keys);
        for (int successor = 0; successor < kIds; ++successor) {
            OdDbObjectIdArray replaced;
            for (auto const& [key, members] : model) {
                if (members.contains(successor)) {
                    replaced.append(m_ids[key]);
                }
            }
            RC_ASSERT(map.getReplacedWith(m_ids[successor]) == replaced);
            RC_ASSERT(map.findReplacedWith(m_ids[successor], nullptr) == !replaced.isEmpty());
        }
    }
    IdSet toIds(std::set<int> const& numbers) const
    {
        IdSet ids;
        for (int number : numbers) {
            ids.insert(m_ids[number]);
        }
        return ids;
    }

    std::vector<OdDbObjectId> m_ids;
    ZemDependenciesReplacementMap map;
    Model model;
};

}  // namespace

RC_GTEST_FIXTURE_PROP(ReplacementMap, BehavesLikePlainSetsAfterAnyOperations, ())
{
    ReplacementMapModel model(*m_database);
    const int steps = *rc::gen::inRange(1, 40);
    const auto number = rc::gen::inRange(0, ReplacementMapModel::kIds);
    for (int step = 0; step < steps; ++step) {
        // Clearing is rare, or little would ever be there.
        const int operation = *rc::gen::weightedElement<int>({{10, 0}, {10, 1}, {4, 2}, {1, 3}});
        const auto members = *rc::gen::container<std::set<int>>(*rc::gen::inRange(0, 4), number);
        model.step(operation, *number, *number, members);
    }
}
