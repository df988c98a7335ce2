#include "db/od_db_id_mapping.h"
#include "db/od_db_reference_filers.h"
#include "db/od_db_xrecord.h"
#include "store/od_db_drawing.h"

#include "flaky_store_test_support.h"
#include "model_test_support.h"
#include "zem_db_feature_reactor.h"
#include "zem_db_object.h"
#include "zem_link_utils.h"
#include "zem_persid_cache.h"

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <limits>

namespace {

using namespace model_test;

OdGeMatrix3d translation(double x)
{
    return OdGeMatrix3d::translation(OdGeVector3d(x, 0, 0));
}

OdGeMatrix3d mirroring()
{
    OdGeMatrix3d matrix;
    matrix(0, 0) = -1.0;
    return matrix;
}

class ModelObject : public ModelTest
{
protected:
    OdDbEntityPtr line(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return m_line.openObject(mode, /*openErased=*/true);
    }
    OdDbObjectId addRecord()
    {
        return m_database->addOdDbObject(OdDbXrecord::createObject().get());
    }
    void moveLine() { line(OdDb::kForWrite)->transformBy(translation(1)); }
    /// Brings the manager to a status at which it lists modified entities.
    void settle() { manager(OdDb::kForWrite)->setStatus(kCmUpToDate); }
    OdDbObjectIdArray modified() const { return manager()->getModifiedObjects(); }
    /// A link for constraints, made by the host.
    OdDbObjectId append(std::int64_t index)
    {
        return object(OdDb::kForWrite)->append(face(m_line, index));
    }
    ZemDbObject::IdSet setOf(OdDbObjectIdArray const& ids)
    {
        return ZemDbObject::IdSet(ids.begin(), ids.end());
    }
    /// Puts a reactor of an entity, with a feature reactor on it, into the drawing.
    void watchByFeature()
    {
        const OdDbObjectId reactor = addRecord();
        const OdDbObjectId feature =
            m_database->addOdDbObject(OdDbObjectPtr(ZemDbFeatureReactor::desc()->create()).get());
        reactor.openObject(OdDb::kForWrite)->addPersistentReactor(feature);
        line(OdDb::kForWrite)->addPersistentReactor(reactor);
    }
};

}  // namespace

//--------------------------------------------------------------------------------------------------
// Finding

TEST_F(ModelObject, IsMadeOnceForAnEntity)
{
    const OdDbObjectId id = ZemDbObject::getInstance(m_line, m_managerId);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(ZemDbObject::getInstance(m_line, m_managerId), id);
    EXPECT_NE(ZemDbObject::getInstance(m_other, m_managerId), id);
    EXPECT_EQ(manager()->zemDbObjects().size(), 2u);
}

TEST_F(ModelObject, BelongsToTheManagerAndReactsToTheEntity)
{
    const OdDbObjectId id = objectId();
    EXPECT_EQ(object()->ownerId(), m_managerId);
    EXPECT_EQ(object()->attachedEntityId(), m_line);
    EXPECT_TRUE(line()->hasPersistentReactor(id));
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{id});
}

TEST_F(ModelObject, IsNamedByTheHostsNameAndTheNextNumber)
{
    EXPECT_EQ(object()->name(), OdString(L"Line_1"));
    m_host->entityName = L"Solid_77";
    EXPECT_EQ(ObjectPtr(ZemDbObject::getInstance(m_other, m_managerId).openObject())->name(),
              OdString(L"Solid_2"));
}

TEST_F(ModelObject, HasANumberForANameWithoutAHost)
{
    detachHost();
    EXPECT_EQ(object()->name(), OdString(L"_1"));
}

TEST_F(ModelObject, IsNotMadeWithoutAConstraintManager)
{
    EXPECT_TRUE(ZemDbObject::getInstance(m_line, OdDbObjectId()).isNull());
    EXPECT_TRUE(ZemDbObject::getInstance(m_line, m_other).isNull());
    EXPECT_TRUE(line()->getPersistentReactors().isEmpty());
}

TEST_F(ModelObject, IsFoundWithoutAConstraintManager)
{
    const OdDbObjectId id = objectId();
    EXPECT_EQ(ZemDbObject::getInstance(m_line, OdDbObjectId()), id);
}

TEST_F(ModelObject, IsNotMadeForAnEntityThatCantBeOpened)
{
    erase(m_other);
    EXPECT_EQ(thrownCode([&] { ZemDbObject::getInstance(m_other, m_managerId); }), kOdWasErased);
    EXPECT_EQ(thrownCode([&] { ZemDbObject::getInstance(OdDbObjectId(), m_managerId); }),
              kOdNullObjectId);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
}

TEST_F(ModelObject, IsNotMadeForAnEntityOfAnotherDrawingOrForWhatIsNone)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId foreign = addLine(other->getModelSpaceId());
    EXPECT_EQ(thrownCode([&] { ZemDbObject::getInstance(foreign, m_managerId); }),
              kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { ZemDbObject::getInstance(m_block, m_managerId); }),
              kOdNotThatKindOfClass);
    m_other.redirectTo(foreign);
    EXPECT_EQ(thrownCode([&] { ZemDbObject::getInstance(m_other, m_managerId); }),
              kOdWrongDatabase);
    m_other.redirectTo(OdDbObjectId());
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_TRUE(foreign.openObject()->getPersistentReactors().isEmpty());
}

TEST_F(ModelObject, IsNotMadeWhileItsClassIsNotRegistered)
{
    detachHost();
    ZemDbObject::rxUninit();
    const OdResult thrown =
        thrownCode([&] { (void)ZemDbObject::getInstance(m_line, m_managerId); });
    ZemDbObject::rxInit();
    attachHost();
    EXPECT_EQ(thrown, kOdClassNotRegistered);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_TRUE(line()->getPersistentReactors().isEmpty());
}

TEST_F(ModelObject, OpensInTheModeThatIsAskedFor)
{
    (void)objectId();
    EXPECT_FALSE(ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, false)->isWriteEnabled());
    EXPECT_TRUE(ZemDbObject::openZemDbObject(m_line, OdDb::kForWrite, false)->isWriteEnabled());
    EXPECT_EQ(ZemDbObject::openZemDbObject(line().get(), OdDb::kForRead, false)->objectId(),
              objectId());
}

TEST_F(ModelObject, IsNotOpenedForWhatHasNone)
{
    EXPECT_TRUE(ZemDbObject::openZemDbObject(m_other, OdDb::kForRead, false).isNull());
    EXPECT_TRUE(ZemDbObject::openZemDbObject(OdDbObjectId(), OdDb::kForRead, false).isNull());
    EXPECT_TRUE(ZemDbObject::openZemDbObject(m_managerId, OdDb::kForRead, false).isNull());
    EXPECT_TRUE(
        ZemDbObject::openZemDbObject(static_cast<OdDbEntity*>(nullptr), OdDb::kForRead, false)
            .isNull());
}

TEST_F(ModelObject, OfAnotherEntityIsTakenOffTheReactors)
{
    const OdDbObjectId foreign = objectId();
    const OdDbObjectId own = ZemDbObject::getInstance(m_other, m_managerId);
    m_other.openObject(OdDb::kForWrite)->removePersistentReactor(own);
    m_other.openObject(OdDb::kForWrite)->addPersistentReactor(foreign);
    m_other.openObject(OdDb::kForWrite)->addPersistentReactor(own);
    const OdDbEntityPtr other = m_other.openObject();
    EXPECT_EQ(ZemDbObject::openZemDbObject(other.get(), OdDb::kForRead, false)->objectId(), own);
    EXPECT_EQ(other->getPersistentReactors(), OdDbObjectIdArray{own});
    EXPECT_FALSE(other->isWriteEnabled());
    EXPECT_TRUE(m_assertions.expressions.empty());
}

TEST_F(ModelObject, LeavesReactorsOfOtherClassesWhereTheyAre)
{
    const OdDbObjectId record = addRecord();
    line(OdDb::kForWrite)->addPersistentReactor(record);
    const OdDbObjectId id = objectId();
    EXPECT_EQ(ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, false)->objectId(), id);
    EXPECT_TRUE(line()->hasPersistentReactor(record));
}

namespace {

/// Looks for the model object of whatever it is told of.
class Finder : public OdDbXrecord
{
public:
    void modified(OdDbObject const* object) override
    {
        m_wasUndoing = object->isUndoing();
        m_found = ZemDbObject::openZemDbObject(object->objectId(), OdDb::kForRead, false);
    }

    ObjectPtr m_found;
    bool m_wasUndoing = false;
};

}  // namespace

TEST_F(ModelObject, IsNotFoundWhileChangesAreTakenBack)
{
    const OdDbObjectId id = objectId();
    const OdSmartPtr<Finder> finder = odrxMake<Finder>();
    line(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(finder.get()));
    m_database->startUndoRecord();
    moveLine();
    ASSERT_FALSE(finder->m_found.isNull());
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(finder->m_wasUndoing);
    EXPECT_TRUE(finder->m_found.isNull());
    EXPECT_TRUE(line()->hasPersistentReactor(id));
}

TEST_F(ModelObject, KeepsItsNameWhenAnEmptyOneIsSet)
{
    object(OdDb::kForWrite)->setName(L"Bracket");
    EXPECT_EQ(object()->name(), OdString(L"Bracket"));
    object(OdDb::kForWrite)->setName(OdString());
    EXPECT_EQ(object()->name(), OdString(L"Bracket"));
}

TEST_F(ModelObject, CreatingItIsUndoneAndDoneAgain)
{
    m_database->startUndoRecord();
    const OdDbObjectId id = objectId();
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(line()->getPersistentReactors().isEmpty());
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, false)->objectId(), id);
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{id});
}

TEST_F(ModelObject, AnswersNobodyWhileItIsClosed)
{
    ZemDbObject* const closed = object().get();
    OdDbObjectIdArray ids;
    OdGeMatrix3d matrix;
    EXPECT_EQ(thrownCode([&] { (void)closed->attachedEntityId(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->name(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->dependencies(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->constraintDependencies(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->persIdDependencies(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->hasDependencies(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getConstraintDependency({}); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getPersIdDependency({}); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->isWatched(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getTransform(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->canTransformBeApplied(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getTransformForSolver(matrix); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->hasAttributes(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->attributes(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->constrManagerNeedsNotification(); }),
              kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getReadProperties(); }), kOdNotOpenForRead);
    OdStaticRxObject<OdDbMemoryFiler> filer;
    EXPECT_EQ(thrownCode([&] { closed->dwgOutFields(&filer); }), kOdNotOpenForRead);
}

TEST_F(ModelObject, IsNotChangedWhileItIsOpenForRead)
{
    const ObjectPtr read = object();
    OdDbObjectIdArray ids;
    ZemIndexMap map;
    EXPECT_EQ(thrownCode([&] { read->setName(L"a"); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->attachTo(m_other); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)read->append(face(m_line, 1)); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)read->addPersIdDependency(m_links, m_line); }),
              kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)read->removePersIdDependency(m_links, m_line); }),
              kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->removePersIdDependencies(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->invalidatePersIdDepsCache(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->eraseWithSubObjects(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->constrainerNotify(false); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->triggerObjectRedraw(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->addTransform(translation(1)); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->suppressTransformation(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->setAttributes(map); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)read->getWriteProperties(); }), kOdNotOpenForWrite);
}

//--------------------------------------------------------------------------------------------------
// Links

TEST_F(ModelObject, HasLinksForConstraintsAndListsOthers)
{
    EXPECT_FALSE(object()->hasDependencies());
    const OdDbObjectIdArray listed = listLinks(2);
    const OdDbObjectId made = append(5);
    EXPECT_TRUE(object()->hasDependencies());
    EXPECT_EQ(object()->constraintDependencies(), OdDbObjectIdArray{made});
    EXPECT_EQ(object()->persIdDependencies(), listed);
    const OdDbObjectIdArray all{made, listed[0], listed[1]};
    EXPECT_EQ(object()->dependencies(), all);
}

TEST_F(ModelObject, TakesTheLinksThatTheHostMakes)
{
    OdDbObjectIdArray ids{m_line};
    ZemSubentPathArray paths;
    paths.append(face(m_line, 1));
    paths.append(face(m_line, 2));
    object(OdDb::kForWrite)->append(paths, ids);
    ASSERT_EQ(ids.size(), 3u);
    EXPECT_EQ(ids[0], m_line);
    EXPECT_EQ(object()->constraintDependencies(), (OdDbObjectIdArray{ids[1], ids[2]}));
    EXPECT_EQ(ids[1].openObject()->ownerId(), objectId());
}

TEST_F(ModelObject, GetsNoLinkWhereTheHostMakesNone)
{
    m_host->makesLinks = false;
    EXPECT_TRUE(append(1).isNull());
    EXPECT_FALSE(object()->hasDependencies());
}

TEST_F(ModelObject, GetsNoLinkWithoutAHost)
{
    detachHost();
    EXPECT_TRUE(append(1).isNull());
    EXPECT_FALSE(object()->hasDependencies());
}

TEST_F(ModelObject, FindsTheFirstLinkForConstraintsWithThePath)
{
    (void)append(1);
    const OdDbObjectId second = append(2);
    (void)append(2);
    EXPECT_EQ(object()->getConstraintDependency(face(m_line, 2)), second);
    EXPECT_TRUE(object()->getConstraintDependency(face(m_line, 3)).isNull());
    EXPECT_TRUE(object()->getConstraintDependency(face(m_other, 2)).isNull());
}

TEST_F(ModelObject, StopsAtALinkForConstraintsThatCantBeResolved)
{
    const OdDbObjectId first = append(1);
    const OdDbObjectId second = append(2);
    const OdDbObjectId third = append(3);
    LinkPtr(second.openObject(OdDb::kForWrite))->setLinkObject(face(m_other, 2));
    erase(m_other);
    EXPECT_EQ(object()->getConstraintDependency(face(m_line, 1)), first);
    EXPECT_TRUE(object()->getConstraintDependency(face(m_line, 3)).isNull());
    erase(second);
    EXPECT_EQ(object()->getConstraintDependency(face(m_line, 3)), third);
}

TEST_F(ModelObject, ListsALinkOnce)
{
    const OdDbObjectId link = addLink(face(m_line, 1));
    EXPECT_TRUE(object(OdDb::kForWrite)->addPersIdDependency(m_links, link));
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(m_links, link));
    EXPECT_EQ(object()->persIdDependencies(), OdDbObjectIdArray{link});
}

TEST_F(ModelObject, ListsNoLinkOfAManagerThatIsNone)
{
    const OdDbObjectId link = addLink(face(m_line, 1), m_managerId);
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(m_managerId, link));
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(OdDbObjectId(), link));
    EXPECT_FALSE(object()->hasDependencies());
}

TEST_F(ModelObject, ListsNoLinkThatItsManagerDoesntOwn)
{
    const OdDbObjectId link = addLink(face(m_line, 1), m_managerId);
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(m_links, link));
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(m_links, OdDbObjectId()));
    EXPECT_FALSE(object()->hasDependencies());
}

TEST_F(ModelObject, ListsNoLinkOfAnotherDrawing)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId space = other->getModelSpaceId();
    const OdDbObjectId links = ZemDbPersIdManager::getInstance(space, true);
    const OdDbObjectId link = addLink(face(addLine(space), 1), links);
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(links, link));
    EXPECT_FALSE(object()->hasDependencies());
}

TEST_F(ModelObject, ListsALinkThatAnIdOfAnotherDrawingStandsForByItsOwnId)
{
    const OdDbObjectId link = addLink(face(m_line, 1));
    {
        const OdDbDatabasePtr other = OdDbDatabase::createObject();
        const OdDbObjectId alias = addLine(other->getModelSpaceId());
        alias.redirectTo(link);
        EXPECT_TRUE(object(OdDb::kForWrite)->addPersIdDependency(m_links, alias));
        EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(m_links, link));
        alias.redirectTo(OdDbObjectId());
    }
    EXPECT_EQ(object()->persIdDependencies(), OdDbObjectIdArray{link});
    EXPECT_EQ(object()->getPersIdDependency(face(m_line, 1)), link);
}

TEST_F(ModelObject, TakesNoLinkOfAnotherDrawingFromTheHost)
{
    /// Gives an own link, and one that isn't.
    class Smuggler : public TestObjectHost
    {
    public:
        void appendConstraintDependencies(ZemDbObject* object, ZemSubentPathArray const& paths,
                                          OdDbObjectIdArray& newIds) override
        {
            newIds.append(appendConstraintDependency(object, paths[0]));
            newIds.append(m_foreign);
        }
        OdDbObjectId m_foreign;
    };
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const auto smuggler = odrxMake<OdRxObjectImpl<Smuggler>>();
    smuggler->m_foreign = addLine(other->getModelSpaceId());
    (void)objectId();
    detachHost();
    ZemDbObject::desc()->addX(ZemDbObjectPE::desc(), smuggler.get());
    const OdResult thrown = thrownCode([&] { (void)append(1); });
    detachHost();
    attachHost();
    EXPECT_EQ(thrown, kOdWrongDatabase);
    // The own one would be nobody's else.
    const OdDbObjectIdArray taken = object()->constraintDependencies();
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_NE(taken[0], smuggler->m_foreign);
}

TEST_F(ModelObject, AHostMayBeginAStepOfUndoWhileItMakesLinks)
{
    class Stepper : public TestObjectHost
    {
    public:
        void appendConstraintDependencies(ZemDbObject* object, ZemSubentPathArray const& paths,
                                          OdDbObjectIdArray& newIds) override
        {
            object->database()->startUndoRecord();
            TestObjectHost::appendConstraintDependencies(object, paths, newIds);
        }
    };
    const auto stepper = odrxMake<OdRxObjectImpl<Stepper>>();
    (void)objectId();
    detachHost();
    ZemDbObject::desc()->addX(ZemDbObjectPE::desc(), stepper.get());
    m_database->startUndoRecord();
    (void)append(1);
    detachHost();
    attachHost();
    ASSERT_EQ(object()->constraintDependencies().size(), 1u);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(object()->constraintDependencies().isEmpty());
}

namespace {

/// Begins a step of undo when it hears that something is erased.
class StepBeginner : public OdDbXrecord
{
public:
    void erased(OdDbObject const* object, bool) override
    {
        if (!object->isUndoing()) {
            object->database()->startUndoRecord();
        }
    }
};

}  // namespace

TEST_F(ModelObject, LinksThatAreClearedAcrossAStepOfUndoComeBackIntoTheList)
{
    const OdDbObjectIdArray made{append(1), append(2)};
    const OdSmartPtr<StepBeginner> beginner = odrxMake<StepBeginner>();
    made[0]
        .openObject(OdDb::kForWrite)
        ->addPersistentReactor(m_database->addOdDbObject(beginner.get()));
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->clearUnusedDeps({});
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(made[1].isErased());
    EXPECT_EQ(object()->constraintDependencies(), made);
}

TEST_F(ModelObject, FindsNoLinkWithoutAWordWhereSomethingCantBeReadAtTheMoment)
{
    using flaky_store_test::FlakyStore;
    const OdDbObjectIdArray ids = listLinks(2);
    const OdDbObjectId unread = FlakyStore::attachTo(*m_database);
    ZemPropertyArray<OdDbTypedId> listed;
    for (OdDbObjectId id : {unread, ids[0]}) {
        listed.push_back({id, OdDb::ReferenceType::kSoftPointerRef});
    }
    ASSERT_TRUE(object(OdDb::kForWrite)
                    ->getWriteProperties()
                    .getProperty(L"PersIdDependencies")
                    ->set(listed));
    EXPECT_EQ(zemu::findDepByFSP(face(m_line, 1)), ids[0]);
    EXPECT_TRUE(zemu::findDepByFSP(face(m_line, 2)).isNull());
    EXPECT_TRUE(zemu::findDepByFSP(face(unread, 1)).isNull());
    EXPECT_EQ(zemu::strFSPFromDependency(unread, false), OdString(L"invalid"));
}

TEST_F(ModelObject, ForgetsLinksThatWereTakenOffThroughABagThatIsHeld)
{
    const OdDbObjectIdArray ids = listLinks(8);
    const ObjectPtr opened = object(OdDb::kForWrite);
    const ZemPropertyDataPtr node = opened->getWriteProperties().getProperty(L"PersIdDependencies");
    EXPECT_EQ(opened->getPersIdDependency(face(m_line, 2)), ids[1]);
    ZemPropertyArray<OdDbTypedId> others;
    for (unsigned at = 2; at < ids.size(); ++at) {
        others.append({ids[at], OdDb::ReferenceType::kSoftPointerRef});
    }
    ASSERT_TRUE(node->set(others));
    EXPECT_TRUE(opened->getPersIdDependency(face(m_line, 2)).isNull());
    EXPECT_EQ(opened->getPersIdDependency(face(m_line, 5)), ids[4]);
}

TEST_F(ModelObject, TakesALinkOffItsList)
{
    const OdDbObjectIdArray links = listLinks(3);
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, links[1]));
    EXPECT_EQ(object()->persIdDependencies(), (OdDbObjectIdArray{links[0], links[2]}));
    EXPECT_FALSE(object(OdDb::kForWrite)->removePersIdDependency(m_links, links[1]));
}

TEST_F(ModelObject, KeepsALinkThatTheManagerDoesntOwnAndLeavesTheCacheAlone)
{
    const OdDbObjectIdArray links = listLinks(7);
    EXPECT_EQ(object()->getPersIdDependency(face(m_line, 3)), links[2]);
    const OdDbObjectId other =
        ZemDbPersIdManager::getInstance(addBlock(*m_database, L"B"), /*create=*/true);
    EXPECT_FALSE(object(OdDb::kForWrite)->removePersIdDependency(other, links[2]));
    EXPECT_TRUE(object()->persIdCache().usesMap());
    EXPECT_EQ(object()->persIdCache().lastRequestId(), links[2]);
    EXPECT_EQ(object()->persIdDependencies(), links);
}

TEST_F(ModelObject, ForgetsALinkThatItTookOffTheList)
{
    const OdDbObjectIdArray links = listLinks(7);
    EXPECT_EQ(object()->getPersIdDependency(face(m_line, 3)), links[2]);
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, links[2]));
    EXPECT_FALSE(object()->persIdCache().usesMap());
    EXPECT_TRUE(object()->persIdCache().lastRequestId().isNull());
    EXPECT_TRUE(object()->getPersIdDependency(face(m_line, 3)).isNull());
}

TEST_F(ModelObject, TakesAllLinksOffItsListAtOnce)
{
    (void)listLinks(7);
    (void)object()->getPersIdDependency(face(m_line, 3));
    object(OdDb::kForWrite)->removePersIdDependencies();
    EXPECT_FALSE(object()->hasDependencies());
    EXPECT_FALSE(object()->persIdCache().usesMap());
    EXPECT_TRUE(object()->persIdCache().lastRequestId().isNull());
}

TEST_F(ModelObject, FindsListedLinksByTheirStoredPath)
{
    const OdDbObjectIdArray links = listLinks(7);
    EXPECT_EQ(object()->getPersIdDependency(face(m_line, 6)), links[5]);
    EXPECT_TRUE(object()->getPersIdDependency(face(m_other, 6)).isNull());
    EXPECT_TRUE(object()->getPersIdDependency({}).isNull());
}

TEST_F(ModelObject, ListingLinksIsUndoneAndDoneAgain)
{
    const OdDbObjectIdArray first = listLinks(20);
    m_database->startUndoRecord();
    const OdDbObjectIdArray more = listLinks(20);
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, first[3]));
    const OdDbObjectIdArray after = object()->persIdDependencies();
    ASSERT_EQ(after.size(), 39u);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(object()->persIdDependencies(), first);
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, first[3]));
    EXPECT_FALSE(object(OdDb::kForWrite)->addPersIdDependency(m_links, first[4]));
    ASSERT_EQ(m_database->undo(), kOdNoUndo);
}

TEST_F(ModelObject, RedoneListsAnswerAsBefore)
{
    const OdDbObjectIdArray first = listLinks(20);
    m_database->startUndoRecord();
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, first[3]));
    ASSERT_EQ(m_database->undo(), kOdOk);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(object()->persIdDependencies().size(), 19u);
    EXPECT_TRUE(object(OdDb::kForWrite)->addPersIdDependency(m_links, first[3]));
    EXPECT_EQ(object()->persIdDependencies().last(), first[3]);
}

TEST_F(ModelObject, ErasesItsLinksForConstraintsAlone)
{
    const OdDbObjectIdArray listed = listLinks(1);
    const OdDbObjectIdArray made{append(1), append(2)};
    erase(made[0]);
    object(OdDb::kForWrite)->eraseWithSubObjects();
    EXPECT_TRUE(made[0].isErased());
    EXPECT_TRUE(made[1].isErased());
    EXPECT_FALSE(listed[0].isErased());
    EXPECT_FALSE(objectId().isErased());
    EXPECT_EQ(object()->constraintDependencies(), made);
}

TEST_F(ModelObject, KeepsLinksForConstraintsThatAreUsed)
{
    const OdDbObjectIdArray made{append(1), append(2), append(3)};
    object(OdDb::kForWrite)->clearUnusedDeps(setOf({made[1], m_line}));
    EXPECT_EQ(object()->constraintDependencies(), OdDbObjectIdArray{made[1]});
    EXPECT_TRUE(made[0].isErased());
    EXPECT_FALSE(made[1].isErased());
    EXPECT_TRUE(made[2].isErased());
}

TEST_F(ModelObject, KeepsLinksForConstraintsThatAreUsedByARedirectedId)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId made = append(1);
    const OdDbObjectId alias = addLine(other->getModelSpaceId());
    alias.redirectTo(made);
    object(OdDb::kForWrite)->clearUnusedDeps(setOf({alias}));
    EXPECT_EQ(object()->constraintDependencies(), OdDbObjectIdArray{made});
    EXPECT_FALSE(made.isErased());
    alias.redirectTo(OdDbObjectId());
}

namespace {

/// Has the model object of an entity make another link when the link that it watches is erased.
class Replacer : public OdDbXrecord
{
public:
    void erased(OdDbObject const* object, bool erasing) override
    {
        OdDbXrecord::erased(object, erasing);
        if (erasing && m_made.isNull()) {
            m_made =
                ZemDbObject::openZemDbObject(m_path.objectIds().first(), OdDb::kForWrite, false)
                    ->append(m_path);
        }
    }

    OdDbFullSubentPath m_path;
    OdDbObjectId m_made;
};

/// A model object with eight links for constraints; what hears of the end of the first one makes a
/// ninth.
class ReplacedLinks : public ModelObject
{
protected:
    ReplacedLinks()
    {
        for (int number = 1; number <= 8; ++number) {
            m_made.append(append(number));
        }
        m_replacer->m_path = face(m_line, 9);
        m_made[0]
            .openObject(OdDb::kForWrite)
            ->addPersistentReactor(m_database->addOdDbObject(m_replacer.get()));
    }

    OdDbObjectIdArray m_made;
    OdSmartPtr<Replacer> m_replacer = odrxMake<Replacer>();
};

}  // namespace

TEST_F(ReplacedLinks, StayWhenAllOthersAreErased)
{
    object(OdDb::kForWrite)->eraseWithSubObjects();
    ASSERT_FALSE(m_replacer->m_made.isNull());
    EXPECT_FALSE(m_replacer->m_made.isErased());
    for (OdDbObjectId id : std::as_const(m_made)) {
        EXPECT_TRUE(id.isErased());
    }
    EXPECT_EQ(object()->constraintDependencies().last(), m_replacer->m_made);
}

TEST_F(ReplacedLinks, StayWhenUnusedOnesAreCleared)
{
    object(OdDb::kForWrite)->clearUnusedDeps(setOf({m_made[4]}));
    ASSERT_FALSE(m_replacer->m_made.isNull());
    EXPECT_EQ(object()->constraintDependencies(),
              (OdDbObjectIdArray{m_made[4], m_replacer->m_made}));
    EXPECT_FALSE(m_replacer->m_made.isErased());
}

TEST_F(ReplacedLinks, StayWhenNoLinkIsUsed)
{
    object(OdDb::kForWrite)->clearUnusedDeps({});
    EXPECT_EQ(object()->constraintDependencies(), OdDbObjectIdArray{m_replacer->m_made});
    EXPECT_EQ(object()->getConstraintDependency(face(m_line, 9)), m_replacer->m_made);
}

TEST_F(ModelObject, WithAllLinksForConstraintsInUseNothingHappens)
{
    const OdDbObjectIdArray made{append(1), append(2)};
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->clearUnusedDeps(setOf(made));
    EXPECT_EQ(object()->constraintDependencies(), made);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(made[0].isErased());
}

TEST_F(ModelObject, NeedsNoWriteForClearingNothing)
{
    object()->clearUnusedDeps({});
    const OdDbObjectId made = append(1);
    object()->clearUnusedDeps(setOf({made}));
    const ObjectPtr read = object();
    EXPECT_EQ(thrownCode([&] { read->clearUnusedDeps({}); }), kOdNotOpenForWrite);
    EXPECT_FALSE(made.isErased());
}

TEST_F(ModelObject, WithoutLinksInUseTheManagerForgetsTheEntity)
{
    settle();
    const OdDbObjectIdArray made{append(1), append(2)};
    object(OdDb::kForWrite)->notifyAboutModifications(true);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
    erase(made[1]);
    object(OdDb::kForWrite)->clearUnusedDeps({});
    EXPECT_FALSE(object()->hasDependencies());
    EXPECT_TRUE(made[0].isErased());
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_TRUE(manager()->isUpToDate());
}

TEST_F(ModelObject, WithListedLinksLeftTheManagerRemembersTheEntity)
{
    settle();
    (void)listLinks(1);
    (void)append(1);
    object(OdDb::kForWrite)->clearUnusedDeps({});
    EXPECT_TRUE(object()->constraintDependencies().isEmpty());
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
}

TEST_F(ModelObject, ClearingUnusedLinksIsUndoneAndDoneAgain)
{
    const OdDbObjectIdArray made{append(1), append(2)};
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->clearUnusedDeps(setOf({made[0]}));
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(object()->constraintDependencies(), made);
    EXPECT_FALSE(made[1].isErased());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(object()->constraintDependencies(), OdDbObjectIdArray{made[0]});
    EXPECT_TRUE(made[1].isErased());
}

//--------------------------------------------------------------------------------------------------
// Watching and notices

TEST_F(ModelObject, IsWatchedWithADependency)
{
    EXPECT_FALSE(object()->isWatched());
    (void)listLinks(1);
    EXPECT_TRUE(object()->isWatched());
}

TEST_F(ModelObject, IsWatchedByAFeatureThroughAReactorOfTheEntity)
{
    (void)objectId();
    line(OdDb::kForWrite)->addPersistentReactor(addRecord());
    EXPECT_FALSE(object()->isWatched());
    watchByFeature();
    EXPECT_TRUE(object()->isWatched());
}

TEST_F(ModelObject, IsNotWatchedByAFeatureThatIsErased)
{
    (void)objectId();
    watchByFeature();
    const OdDbObjectId reactor = line()->getPersistentReactors().last();
    erase(reactor.openObject()->getPersistentReactors().first());
    EXPECT_FALSE(object()->isWatched());
}

TEST_F(ModelObject, IsNotWatchedOnceItsEntityCantBeOpened)
{
    const ObjectPtr lone = odrxMake<ZemDbObject>();
    m_database->addOdDbObject(lone.get(), m_managerId);
    EXPECT_FALSE(lone->isWatched());
}

TEST_F(ModelObject, TellsTheManagerOfAChangeIfItIsWatched)
{
    settle();
    object(OdDb::kForWrite)->notifyAboutModifications(true);
    EXPECT_TRUE(modified().isEmpty());
    (void)append(1);
    object(OdDb::kForWrite)->notifyAboutModifications(true);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
    EXPECT_EQ(manager()->getStatus(), kCmObjectsModified);
}

TEST_F(ModelObject, TellsTheManagerWhenItsChangesConcernNobody)
{
    settle();
    (void)append(1);
    object(OdDb::kForWrite)->notifyAboutModifications(true);
    object(OdDb::kForWrite)->addTransform(translation(2));
    object(OdDb::kForRead)->notifyAboutModifications(false);
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_TRUE(object()->getTransform().isEqualTo(OdGeMatrix3d()));
}

TEST_F(ModelObject, TellsNobodyWithoutAManager)
{
    (void)append(1);
    const ObjectPtr opened = object(OdDb::kForWrite);
    opened->setOwnerId(m_block);
    opened->notifyAboutModifications(true);
    EXPECT_EQ(manager()->getStatus(), kCmNew);
}

TEST_F(ModelObject, AddingALinkTellsTheManager)
{
    settle();
    (void)listLinks(1);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
}

TEST_F(ModelObject, TakingTheLastLinkOffTellsTheManager)
{
    settle();
    const OdDbObjectIdArray links = listLinks(2);
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, links[0]));
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, links[1]));
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_TRUE(manager()->isUpToDate());
}

TEST_F(ModelObject, TakingTheLastListedLinkOffTellsNobodyWhileALinkForConstraintsIsLeft)
{
    settle();
    (void)append(1);
    const OdDbObjectIdArray links = listLinks(1);
    EXPECT_TRUE(object(OdDb::kForWrite)->removePersIdDependency(m_links, links[0]));
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
}

TEST_F(ModelObject, ReactsToAChangeOfTheEntitysGraphics)
{
    settle();
    (void)append(1);
    moveLine();
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
    EXPECT_EQ(m_host->tracked, 1);
}

TEST_F(ModelObject, TellsTheTrackerButNotTheManagerWithoutAWatcher)
{
    settle();
    (void)objectId();
    moveLine();
    EXPECT_EQ(m_host->tracked, 1);
    EXPECT_TRUE(modified().isEmpty());
}

TEST_F(ModelObject, TellsTheManagerOfNoChangeWhileThatIsTurnedOff)
{
    settle();
    (void)append(1);
    EXPECT_TRUE(object()->constrManagerNeedsNotification());
    object(OdDb::kForWrite)->constrainerNotify(false);
    EXPECT_FALSE(object()->constrManagerNeedsNotification());
    moveLine();
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_EQ(m_host->tracked, 1);
    object(OdDb::kForWrite)->constrainerNotify(true);
    moveLine();
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
}

TEST_F(ModelObject, ReactsToNoChangeThatIsTakenBack)
{
    settle();
    (void)append(1);
    m_database->startUndoRecord();
    moveLine();
    const int tracked = m_host->tracked;
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(m_host->tracked, tracked);
    EXPECT_TRUE(modified().isEmpty());
}

TEST_F(ModelObject, ReactsToItsOwnEntityAlone)
{
    settle();
    (void)append(1);
    const ObjectPtr opened = object(OdDb::kForWrite);
    opened->modifiedGraphics(OdDbObjectPtr(m_other.openObject()).get());
    opened->modifiedGraphics(nullptr);
    const OdDbDatabasePtr foreign = OdDbDatabase::createObject();
    opened->modifiedGraphics(OdDbObjectPtr(addLine(foreign->getModelSpaceId()).openObject()).get());
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_EQ(m_host->tracked, 0);
}

TEST_F(ModelObject, DropsErrorsOfTheHostInNotices)
{
    settle();
    (void)append(1);
    m_host->throws = true;
    moveLine();
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_TRUE(m_assertions.expressions.empty());
    erase(m_line);
    EXPECT_TRUE(m_assertions.expressions.empty());
}

TEST_F(ModelObject, TellsTheHostBeforeTheEntityChanges)
{
    (void)objectId();
    moveLine();
    EXPECT_EQ(m_host->openedForModify, 1);
    detachHost();
    moveLine();
    EXPECT_EQ(m_host->openedForModify, 1);
}

//--------------------------------------------------------------------------------------------------
// Erasing

TEST_F(ModelObject, GoesWithItsEntity)
{
    settle();
    const OdDbObjectId id = objectId();
    (void)append(1);
    moveLine();
    m_host->tracked = 0;
    erase(m_line);
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(m_host->tracked, 1);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_TRUE(modified().isEmpty());
}

TEST_F(ModelObject, ComesBackWithItsEntityByUndo)
{
    const OdDbObjectId id = objectId();
    const OdDbObjectIdArray links = listLinks(3);
    m_database->startUndoRecord();
    erase(m_line);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, false)->objectId(), id);
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{id});
    EXPECT_EQ(object()->persIdDependencies(), links);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
}

TEST_F(ModelObject, DoesntComeBackWithItsEntityOtherwise)
{
    const OdDbObjectId id = objectId();
    erase(m_line);
    unerase(m_line);
    EXPECT_TRUE(id.isErased());
    EXPECT_NE(objectId(), id);
}

TEST_F(ModelObject, OfAnErasedEntityIsFoundByWhoeverTakesErasedObjects)
{
    const OdDbObjectId id = objectId();
    erase(m_line);
    EXPECT_TRUE(ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, false).isNull());
    const ObjectPtr found = ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, true);
    ASSERT_FALSE(found.isNull());
    EXPECT_EQ(found->objectId(), id);
}

TEST_F(ModelObject, DoesNothingWhenAnotherEntityIsErased)
{
    const OdDbObjectId id = objectId();
    m_other.openObject(OdDb::kForWrite)->addPersistentReactor(id);
    erase(m_other);
    EXPECT_FALSE(id.isErased());
    const ObjectPtr opened = object(OdDb::kForWrite);
    opened->erased(nullptr, true);
    opened->erased(line().get(), false);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(m_host->tracked, 0);
}

TEST_F(ModelObject, ErasedByItselfLeavesManagerAndEntity)
{
    settle();
    const OdDbObjectId id = objectId();
    (void)append(1);
    object(OdDb::kForWrite)->notifyAboutModifications(true);
    object(OdDb::kForWrite)->addTransform(translation(1));
    erase(id);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_TRUE(modified().isEmpty());
    EXPECT_TRUE(line()->getPersistentReactors().isEmpty());
    const ObjectPtr erased = id.openObject(OdDb::kForRead, true);
    EXPECT_TRUE(erased->getTransform().isEqualTo(OdGeMatrix3d()));
}

TEST_F(ModelObject, ErasedByItselfComesBackByUndo)
{
    const OdDbObjectId id = objectId();
    object(OdDb::kForWrite)->addTransform(translation(1));
    m_database->startUndoRecord();
    erase(id);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(objectId(), id);
    EXPECT_TRUE(object()->getTransform().isEqualTo(translation(1)));
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(line()->getPersistentReactors().isEmpty());
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(objectId(), id);
}

TEST_F(ModelObject, UnerasedByItselfIsInNobodysList)
{
    const OdDbObjectId id = objectId();
    erase(id);
    unerase(id);
    EXPECT_FALSE(id.isErased());
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_TRUE(line()->getPersistentReactors().isEmpty());
}

TEST_F(ModelObject, OfAnotherOwnerRefusesToBeErased)
{
    const OdDbObjectId id = objectId();
    object(OdDb::kForWrite)->setOwnerId(m_block);
    const ObjectPtr opened = object(OdDb::kForWrite);
    EXPECT_THROW(opened->erase(), OdError_NotThatKindOfClass);
    EXPECT_FALSE(id.isErased());
    opened->setOwnerId(OdDbObjectId());
    EXPECT_THROW(opened->erase(), OdError_NotThatKindOfClass);
}

TEST_F(ModelObject, OfAnotherOwnerStaysWhenItsEntityGoes)
{
    const OdDbObjectId id = objectId();
    object(OdDb::kForWrite)->setOwnerId(m_block);
    erase(m_line);
    EXPECT_TRUE(m_line.isErased());
    EXPECT_FALSE(id.isErased());
    EXPECT_TRUE(m_assertions.expressions.empty());
}

//--------------------------------------------------------------------------------------------------
// Cached transform

TEST_F(ModelObject, HasNoTransformAtFirst)
{
    OdGeMatrix3d out = translation(9);
    EXPECT_TRUE(object()->getTransform().isEqualTo(OdGeMatrix3d()));
    EXPECT_FALSE(object()->canTransformBeApplied());
    EXPECT_FALSE(object()->getTransformForSolver(out));
    EXPECT_TRUE(out.isEqualTo(translation(9)));
}

TEST_F(ModelObject, AddsEachTransformInFront)
{
    const OdGeMatrix3d turn = OdGeMatrix3d::rotation(1.0, OdGeVector3d(0, 0, 1));
    object(OdDb::kForWrite)->addTransform(translation(2));
    object(OdDb::kForWrite)->addTransform(turn);
    EXPECT_TRUE(object()->getTransform().isEqualTo(turn * translation(2)));
    EXPECT_TRUE(object()->canTransformBeApplied());
    ASSERT_EQ(m_host->transforms.size(), 2u);
    EXPECT_TRUE(m_host->transforms[1].isEqualTo(turn * translation(2)));
    EXPECT_EQ(m_host->transformsEnabled, (std::vector<bool>{true, true}));
}

TEST_F(ModelObject, DropsASuppressedTransformWhenAnotherOneIsAdded)
{
    object(OdDb::kForWrite)->addTransform(translation(2));
    object(OdDb::kForWrite)->suppressTransformation();
    EXPECT_FALSE(object()->canTransformBeApplied());
    EXPECT_TRUE(object()->getTransform().isEqualTo(translation(2)));
    object(OdDb::kForWrite)->addTransform(translation(5));
    EXPECT_TRUE(object()->getTransform().isEqualTo(translation(5)));
    EXPECT_FALSE(object()->canTransformBeApplied());
    EXPECT_EQ(m_host->transformsEnabled, (std::vector<bool>{true, false}));
}

TEST_F(ModelObject, GivesTheSolverAMirroringTransformButDoesntApplyIt)
{
    object(OdDb::kForWrite)->addTransform(mirroring());
    OdGeMatrix3d out;
    EXPECT_FALSE(object()->getTransformForSolver(out));
    EXPECT_TRUE(out.isEqualTo(mirroring()));
}

TEST_F(ModelObject, TakesATransformWithoutADeterminantForNoMirroring)
{
    OdGeMatrix3d matrix;
    matrix(0, 0) = std::numeric_limits<double>::quiet_NaN();
    object(OdDb::kForWrite)->addTransform(matrix);
    OdGeMatrix3d given;
    EXPECT_TRUE(object()->getTransformForSolver(given));
    EXPECT_TRUE(std::isnan(given(0, 0)));
}

TEST_F(ModelObject, GivesTheSolverATransformThatCanBeApplied)
{
    object(OdDb::kForWrite)->addTransform(translation(3));
    OdGeMatrix3d out;
    EXPECT_TRUE(object()->getTransformForSolver(out));
    EXPECT_TRUE(out.isEqualTo(translation(3)));
    object(OdDb::kForWrite)->suppressTransformation();
    EXPECT_FALSE(object()->getTransformForSolver(out));
}

TEST_F(ModelObject, ClearsItsTransformAndAllowsOthersAgain)
{
    object(OdDb::kForWrite)->addTransform(translation(3));
    object(OdDb::kForWrite)->suppressTransformation();
    const ObjectPtr read = object();
    read->clearTransform();
    EXPECT_TRUE(read->isWriteEnabled());
    EXPECT_TRUE(read->getTransform().isEqualTo(OdGeMatrix3d()));
    read->addTransform(translation(1));
    EXPECT_TRUE(read->canTransformBeApplied());
}

TEST_F(ModelObject, ClearingNoTransformRecordsNothingAndYetAllowsIt)
{
    object(OdDb::kForWrite)->suppressTransformation();
    m_database->startUndoRecord();
    const std::uint64_t before = m_database->undoBytes();
    const ObjectPtr read = object();
    read->clearTransform();
    EXPECT_FALSE(read->isWriteEnabled());
    EXPECT_EQ(m_database->undoBytes(), before);
    read->upgradeOpen();
    read->addTransform(translation(1));
    EXPECT_TRUE(read->canTransformBeApplied());
}

TEST_F(ModelObject, AddingTransformsIsUndoneAndDoneAgain)
{
    object(OdDb::kForWrite)->addTransform(translation(3));
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->addTransform(translation(4));
    object(OdDb::kForWrite)->addTransform(translation(5));
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(m_database->undo(), kOdOk);
        EXPECT_TRUE(object()->getTransform().isEqualTo(translation(3)));
        ASSERT_EQ(m_database->redo(), kOdOk);
        EXPECT_TRUE(object()->getTransform().isEqualTo(translation(12)));
    }
}

TEST_F(ModelObject, ClearingATransformIsUndoneAndDoneAgain)
{
    object(OdDb::kForWrite)->addTransform(translation(3));
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->clearTransform();
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(object()->getTransform().isEqualTo(translation(3)));
    EXPECT_TRUE(object()->canTransformBeApplied());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_FALSE(object()->canTransformBeApplied());
}

TEST_F(ModelObject, ClearingASuppressedTransformIsUndoneToOneThatMayBeApplied)
{
    object(OdDb::kForWrite)->addTransform(translation(3));
    object(OdDb::kForWrite)->suppressTransformation();
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->clearTransform();
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(object()->getTransform().isEqualTo(translation(3)));
    EXPECT_TRUE(object()->canTransformBeApplied());
}

TEST_F(ModelObject, SuppressingATransformIsUndoneAndDoneAgain)
{
    object(OdDb::kForWrite)->addTransform(translation(3));
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->suppressTransformation();
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(object()->canTransformBeApplied());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_FALSE(object()->canTransformBeApplied());
}

//--------------------------------------------------------------------------------------------------
// Other undo records

TEST_F(ModelObject, UndoAndRedoForgetWhatLookUpsSawAfterAnInvalidation)
{
    const OdDbObjectIdArray links = listLinks(7);
    m_database->startUndoRecord();
    LinkPtr(links[2].openObject(OdDb::kForWrite))->setLinkObject(face(m_line, 100));
    object(OdDb::kForWrite)->invalidatePersIdDepsCache();
    EXPECT_EQ(object()->getPersIdDependency(face(m_line, 100)), links[2]);
    EXPECT_TRUE(object()->getPersIdDependency(face(m_line, 3)).isNull());
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(m_database->undo(), kOdOk);
        EXPECT_FALSE(object()->persIdCache().usesMap());
        EXPECT_EQ(object()->getPersIdDependency(face(m_line, 3)), links[2]);
        EXPECT_TRUE(object()->getPersIdDependency(face(m_line, 100)).isNull());
        ASSERT_EQ(m_database->redo(), kOdOk);
        EXPECT_FALSE(object()->persIdCache().usesMap());
        EXPECT_EQ(object()->getPersIdDependency(face(m_line, 100)), links[2]);
        EXPECT_TRUE(object()->getPersIdDependency(face(m_line, 3)).isNull());
    }
}

TEST_F(ModelObject, AnInvalidationChangesNothingThatIsStored)
{
    (void)objectId();
    const OdSmartPtr<Finder> finder = odrxMake<Finder>();
    object(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(finder.get()));
    object(OdDb::kForWrite)->invalidatePersIdDepsCache();
    EXPECT_TRUE(finder->m_found.isNull());
}

TEST_F(ModelObject, RecordsDontGrowWithRoundsOfUndoAndRedo)
{
    m_database->startUndoRecord();
    const ObjectPtr opened = object(OdDb::kForWrite);
    opened->setName(L"a");
    opened->invalidatePersIdDepsCache();
    opened->addTransform(translation(1));
    opened->triggerObjectRedraw();
    ASSERT_EQ(m_database->undo(), kOdOk);
    ASSERT_EQ(m_database->redo(), kOdOk);
    const std::uint64_t bytesOnce = m_database->undoBytes();
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(m_database->undo(), kOdOk);
        ASSERT_EQ(m_database->redo(), kOdOk);
    }
    EXPECT_EQ(m_database->undoBytes(), bytesOnce);
}

namespace {

/// Counts how often an entity was drawn again.
class RedrawCounter : public OdDbXrecord
{
public:
    void modifiedGraphics(OdDbObject const*) override { ++m_count; }

    int m_count = 0;
};

}  // namespace

TEST_F(ModelObject, UndoAndRedoDrawTheEntityAgain)
{
    (void)objectId();
    const OdSmartPtr<RedrawCounter> counter = odrxMake<RedrawCounter>();
    line(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(counter.get()));
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->triggerObjectRedraw();
    EXPECT_EQ(counter->m_count, 1);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(counter->m_count, 2);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(counter->m_count, 3);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(counter->m_count, 4);
}

namespace {

/// The partial records that a model object writes start with the class and one of these.
struct UndoRecord
{
    char const* name;
    std::uint8_t opcode;
    std::size_t payloadBytes;
};
constexpr UndoRecord kUndoRecords[] = {
    {"invalidated", 0, 0}, {"transform", 1, 16 * 8 + 1}, {"redraw", 2, 0}};

}  // namespace

TEST_F(ModelObject, RefusesAPartialRecordOfAnUnknownKind)
{
    OdStaticRxObject<OdDbMemoryFiler> filer;
    filer.wrUInt8(3);
    filer.rewindForReading();
    const ObjectPtr opened = object(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { opened->applyPartialUndo(&filer, ZemDbObject::desc()); }),
              kOdBadStream);
}

TEST_F(ModelObject, TakesPartialRecordsOfExactlyTheirPayload)
{
    for (UndoRecord const& record : kUndoRecords) {
        SCOPED_TRACE(record.name);
        OdStaticRxObject<OdDbMemoryFiler> filer;
        filer.wrUInt8(record.opcode);
        for (std::size_t byte = 0; byte < record.payloadBytes; ++byte) {
            filer.wrUInt8(0);
        }
        filer.rewindForReading();
        const ObjectPtr opened = object(OdDb::kForWrite);
        opened->applyPartialUndo(&filer, ZemDbObject::desc());
        EXPECT_EQ(filer.bytesLeft(), 0u);
    }
}

TEST_F(ModelObject, HandsPartialRecordsOfItsBaseOn)
{
    OdStaticRxObject<OdDbMemoryFiler> filer;
    filer.wrUInt8(0);
    filer.wrSoftPointerId(m_other);
    filer.rewindForReading();
    object(OdDb::kForWrite)->addPersistentReactor(m_other);
    const ObjectPtr opened = object(OdDb::kForWrite);
    opened->applyPartialUndo(&filer, OdDbObject::desc());
    EXPECT_FALSE(opened->hasPersistentReactor(m_other));
    EXPECT_EQ(thrownCode([&] { opened->applyPartialUndo(&filer, OdDbXrecord::desc()); }),
              kOdBadStream);
}

//--------------------------------------------------------------------------------------------------
// Numbers of sub-entities

TEST_F(ModelObject, ExchangesItsNumbersWithTheArgument)
{
    ZemIndexMap map;
    map.entries()[OdDbSubentId(kFace, 7)] = {5};
    EXPECT_FALSE(object()->hasAttributes());
    object(OdDb::kForWrite)->setAttributes(map);
    EXPECT_TRUE(map.isEmpty());
    EXPECT_TRUE(object()->hasAttributes());
    EXPECT_EQ(object()->attributes().getIdx(face(m_line, 7)), 5);
    object(OdDb::kForWrite)->setAttributes(map);
    EXPECT_FALSE(object()->hasAttributes());
    EXPECT_EQ(map.getIdx(face(m_line, 7)), 5);
}

TEST_F(ModelObject, ExchangingNumbersIsUndoneAndDoneAgain)
{
    m_database->startUndoRecord();
    ZemIndexMap map;
    map.entries()[OdDbSubentId(kFace, 7)] = {5};
    (void)objectId();
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->setAttributes(map);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(object()->hasAttributes());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_TRUE(object()->hasAttributes());
}

//--------------------------------------------------------------------------------------------------
// Stored form

namespace {

/// What the platform's base class files: no reactors, no extension dictionary, no extended data,
/// and the owner.
Blob baseFields(int owner)
{
    return bytes({
        0, 0, 0, 0,  // reactors
        3, 0,        // extension dictionary: none, owned
        0, 0, 0, 0,  // extended data
        0, owner,    // owner
    });
}

constexpr int kLinkA = 0x71;
constexpr int kLinkB = 0x72;
constexpr int kListed = 0x73;
constexpr int kEntity = 0x74;

/// The oldest forms: version, two links for constraints, entity.
Blob head(int version)
{
    return baseFields(0) + bytes({
                               version,     // version
                               2, 0, 0, 0,  // links for constraints
                               3, kLinkA,   //   owned
                               3, kLinkB,   //   owned
                               0, kEntity,  // entity
                           });
}

const Blob kBag = bytes({
    2,   0,   0,       0,                                                      // items
    4,   0,   'N',     'a', 'm', 'e',                                          // name
    2,   6,   0,       'P', 'a', 'r', 't', '_', '1',                           //   text
    18,  0,   'P',     'e', 'r', 's', 'I', 'd', 'D', 'e', 'p', 'e', 'n', 'd',  // listed links
    'e', 'n', 'c',     'i', 'e', 's',                                          //
    9,   8,   1,       0,   0,   0,                                            //   array of one id:
    0,   0,   kListed,                                                         //   soft pointer
});

/// A map of texts, as versions 3 and 4 have it.
const Blob kOldBag = bytes({
    2, 0, 0,   0,                                   // pairs
    4, 0, 'N', 'a', 'm', 'e', 3, 0, 'o', 'l', 'd',  // name
    1, 0, 'k', 1,   0,   'v',                       // another text
});

const Blob kNumbers = bytes({
    1, 0, 0, 0,              // entries
    'f', 6, 0, 0, 0,         // face 7
    1, 0, 0, 0, 9, 0, 0, 0,  //   one number
});

const Blob kCurrent = head(5) + kBag + kNumbers;

class StoredModelObject : public ModelObject
{
protected:
    OdDbObjectId idOf(int handle)
    {
        return m_database->getOdDbObjectId(OdDbHandle(static_cast<std::uint64_t>(handle)),
                                           /*create=*/true);
    }
    ObjectPtr readNew(Blob const& data, OdResult expected = kOdOk)
    {
        ObjectPtr read = odrxMake<ZemDbObject>();
        EXPECT_EQ(readInto(*read, data, m_database.get()), expected);
        return read;
    }
};

}  // namespace

TEST_F(StoredModelObject, ReadsTheCurrentForm)
{
    const ObjectPtr read = readNew(kCurrent);
    EXPECT_EQ(read->constraintDependencies(), (OdDbObjectIdArray{idOf(kLinkA), idOf(kLinkB)}));
    EXPECT_EQ(read->attachedEntityId(), idOf(kEntity));
    EXPECT_EQ(read->name(), OdString(L"Part_1"));
    EXPECT_EQ(read->persIdDependencies(), OdDbObjectIdArray{idOf(kListed)});
    EXPECT_EQ(read->attributes().getIdx(face(m_line, 7)), 9);
}

TEST_F(StoredModelObject, WritesTheCurrentFormByteForByte)
{
    EXPECT_EQ(filed(*readNew(kCurrent)), kCurrent);
}

TEST_F(StoredModelObject, FilesAMarkAnywhereButInDrawings)
{
    const ObjectPtr read = readNew(kCurrent);
    const Blob marked = kCurrent + bytes({0, 0});
    for (OdDb::FilerType type : {OdDb::FilerType::kCopyFiler, OdDb::FilerType::kDeepCloneFiler,
                                 OdDb::FilerType::kWblockCloneFiler, OdDb::FilerType::kIdXlateFiler,
                                 OdDb::FilerType::kPurgeFiler}) {
        EXPECT_EQ(filed(*read, type), marked) << static_cast<int>(type);
        const ObjectPtr copy = odrxMake<ZemDbObject>();
        EXPECT_EQ(readInto(*copy, marked, m_database.get(), type), kOdOk);
        EXPECT_EQ(filed(*copy), kCurrent);
    }
}

TEST_F(StoredModelObject, RefusesAWrongMark)
{
    const ObjectPtr read = odrxMake<ZemDbObject>();
    EXPECT_EQ(
        readInto(*read, kCurrent + bytes({0, 1}), m_database.get(), OdDb::FilerType::kCopyFiler),
        kOdMessage);
}

TEST_F(StoredModelObject, FilesItsTransformForUndoAndPagingAlone)
{
    const ObjectPtr read = readNew(kCurrent);
    read->addTransform(translation(2));
    read->suppressTransformation();
    Blob transform;
    for (int at = 0; at < 16; ++at) {
        const bool isOne = at % 5 == 0;
        const bool isTwo = at == 3;
        transform = transform +
                    bytes({0, 0, 0, 0, 0, 0, isOne ? 0xF0 : 0, isTwo ? 0x40 : (isOne ? 0x3F : 0)});
    }
    transform.push_back(0);  // suppressed
    const Blob base = baseFields(0);
    const Blob rest(kCurrent.begin() + static_cast<std::ptrdiff_t>(base.size()), kCurrent.end());
    const Blob expected = base + transform + rest + bytes({0, 0});
    for (OdDb::FilerType type : {OdDb::FilerType::kUndoFiler, OdDb::FilerType::kPageFiler}) {
        EXPECT_EQ(filed(*read, type), expected) << static_cast<int>(type);
        const ObjectPtr copy = odrxMake<ZemDbObject>();
        EXPECT_EQ(readInto(*copy, expected, m_database.get(), type), kOdOk);
        EXPECT_TRUE(copy->getTransform().isEqualTo(translation(2)));
        EXPECT_FALSE(copy->canTransformBeApplied());
    }
    EXPECT_EQ(filed(*read), kCurrent);
}

TEST_F(StoredModelObject, MigratesFromVersionsWithoutABag)
{
    for (int version : {0, 1, 2}) {
        const ObjectPtr read = readNew(head(version));
        EXPECT_EQ(read->constraintDependencies(), (OdDbObjectIdArray{idOf(kLinkA), idOf(kLinkB)}));
        EXPECT_EQ(read->attachedEntityId(), idOf(kEntity));
        EXPECT_TRUE(read->name().isEmpty());
        EXPECT_FALSE(read->hasAttributes());
        EXPECT_TRUE(read->persIdDependencies().isEmpty());
    }
}

TEST_F(StoredModelObject, MigratesFromVersionThree)
{
    const ObjectPtr read = readNew(head(3) + kOldBag);
    EXPECT_EQ(read->name(), OdString(L"old"));
    OdString text;
    EXPECT_TRUE(read->getReadProperties().getProperty(L"k", text));
    EXPECT_EQ(text, OdString(L"v"));
    EXPECT_FALSE(read->hasAttributes());
}

TEST_F(StoredModelObject, MigratesFromVersionFour)
{
    const ObjectPtr read = readNew(head(4) + kOldBag + kNumbers);
    EXPECT_EQ(read->name(), OdString(L"old"));
    EXPECT_EQ(read->attributes().getIdx(face(m_line, 7)), 9);
}

TEST_F(StoredModelObject, FilesNameAndLinksAfterItWasReadFromAnOldForm)
{
    const ObjectPtr read = readNew(head(4) + kOldBag + kNumbers);
    read->setName(L"new");
    const ObjectPtr again = readNew(filed(*read));
    EXPECT_EQ(again->name(), OdString(L"new"));
    EXPECT_FALSE(again->getReadProperties().getProperty(L"PersIdDependencies").isNull());
    EXPECT_EQ(filed(*again), filed(*read));
}

TEST_F(StoredModelObject, RefusesANewerVersion)
{
    for (int version : {6, 7, 127}) {
        (void)readNew(head(version) + kBag + kNumbers, kOdBadStream);
    }
}

TEST_F(StoredModelObject, TakesAVersionAbove127ForOneOfTheOldest)
{
    const ObjectPtr read = readNew(head(0x85));
    EXPECT_EQ(read->attachedEntityId(), idOf(kEntity));
    EXPECT_TRUE(read->name().isEmpty());
}

TEST_F(StoredModelObject, EndsReadingWithTheResultOfTheBag)
{
    const Blob newerBag = bytes({1, 0, 0, 0, 4, 0, '_', 'v', 'e', 'r', 6, 2});
    (void)readNew(head(5) + newerBag, kOdRejectedVersion);
    (void)readNew(head(4) + bytes({0xFF, 0xFF, 0xFF, 0xFF}), kOdBadStream);
}

TEST_F(StoredModelObject, BindsItsFieldsAgainAfterAnOldBagThatCantBeRead)
{
    const ObjectPtr read = readNew(head(3) + bytes({1, 0, 0, 0, 4, 0}), kOdBadStream);
    read->setName(L"x");
    OdString name;
    EXPECT_TRUE(read->getReadProperties().getProperty(L"Name", name));
    EXPECT_EQ(name, OdString(L"x"));
}

TEST_F(StoredModelObject, RefusesAStreamCutAtEveryByte)
{
    for (std::size_t length = 0; length < kCurrent.size(); ++length) {
        const Blob cut(kCurrent.begin(), kCurrent.begin() + static_cast<std::ptrdiff_t>(length));
        const ObjectPtr read = odrxMake<ZemDbObject>();
        EXPECT_EQ(readInto(*read, cut, m_database.get()), kOdBadStream) << length;
    }
}

TEST_F(StoredModelObject, RefusesOldStreamsCutAtEveryByte)
{
    for (Blob const& whole : {head(2), head(3) + kOldBag, head(4) + kOldBag + kNumbers}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const Blob cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            const ObjectPtr read = odrxMake<ZemDbObject>();
            EXPECT_EQ(readInto(*read, cut, m_database.get()), kOdBadStream) << length;
        }
    }
}

TEST_F(StoredModelObject, AnswersEveryFlippedBitWithAResult)
{
    for (Blob const& whole : {kCurrent, head(4) + kOldBag + kNumbers}) {
        for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
            Blob damaged = whole;
            damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
            const ObjectPtr read = odrxMake<ZemDbObject>();
            const OdResult result = readInto(*read, damaged, m_database.get());
            EXPECT_TRUE(result == kOdOk || result == kOdBadStream || result == kOdRejectedVersion)
                << "bit " << bit << ": " << result;
            (void)filed(*read);
        }
    }
}

TEST_F(StoredModelObject, RefusesCountsThatTheStreamCantHold)
{
    const Blob rows[] = {
        baseFields(0) + bytes({5, 0xFF, 0xFF, 0xFF, 0x7F}),
        baseFields(0) + bytes({5, 0xFF, 0xFF, 0xFF, 0xFF}),
        head(5) + bytes({0xFF, 0xFF, 0xFF, 0x7F}),
        head(4) + bytes({0xFF, 0xFF, 0xFF, 0x7F}),
        head(5) + kBag + bytes({0xFF, 0xFF, 0xFF, 0x7F}),
        head(5) + kBag + bytes({0xFF, 0xFF, 0xFF, 0xFF}),
        head(5) + kBag + bytes({1, 0, 0, 0, 'f', 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F}),
    };
    for (Blob const& row : rows) {
        (void)readNew(row, kOdBadStream);
    }
}

TEST_F(StoredModelObject, KeepsTheRememberedLinkIfItIsListedAfterReading)
{
    (void)listLinks(3);
    const OdDbObjectIdArray links = object()->persIdDependencies();
    EXPECT_EQ(object()->getPersIdDependency(face(m_line, 2)), links[1]);
    const ObjectPtr opened = object(OdDb::kForWrite);
    const Blob whole = filed(*opened);
    EXPECT_EQ(readInto(*opened, whole, m_database.get()), kOdOk);
    EXPECT_EQ(opened->persIdCache().lastRequestId(), links[1]);
    EXPECT_FALSE(opened->persIdCache().usesMap());
}

TEST_F(StoredModelObject, ForgetsTheRememberedLinkIfItIsNotListedAfterReading)
{
    (void)listLinks(3);
    EXPECT_FALSE(object()->getPersIdDependency(face(m_line, 2)).isNull());
    const ObjectPtr opened = object(OdDb::kForWrite);
    EXPECT_EQ(readInto(*opened, kCurrent, m_database.get()), kOdOk);
    EXPECT_TRUE(opened->persIdCache().lastRequestId().isNull());
}

TEST_F(StoredModelObject, MayHoldALinkTwiceAndLosesOneAtATime)
{
    const OdDbObjectId link = addLink(face(m_line, 1));
    const auto handle = static_cast<int>(link.getHandle().value());
    Blob bag = kBag;
    bag[bag.size() - 7] = 2;
    bag[bag.size() - 1] = static_cast<char>(handle);
    const ObjectPtr opened = object(OdDb::kForWrite);
    const Blob whole = head(5) + bag + bytes({0, 0, handle}) + kNumbers;
    EXPECT_EQ(readInto(*opened, whole, m_database.get()), kOdOk);
    EXPECT_EQ(opened->persIdDependencies(), (OdDbObjectIdArray{link, link}));
    opened->setOwnerId(m_managerId);
    EXPECT_TRUE(opened->removePersIdDependency(m_links, link));
    EXPECT_EQ(opened->persIdDependencies(), OdDbObjectIdArray{link});
    EXPECT_TRUE(opened->removePersIdDependency(m_links, link));
    EXPECT_FALSE(opened->removePersIdDependency(m_links, link));
}

TEST_F(StoredModelObject, ReadingAnObjectOfADrawingIsPartOfUndo)
{
    object(OdDb::kForWrite)->setName(L"before");
    m_database->startUndoRecord();
    {
        const ObjectPtr opened = object(OdDb::kForWrite);
        const Blob whole = filed(*opened);
        opened->setName(L"after");
        EXPECT_EQ(readInto(*opened, whole, m_database.get()), kOdOk);
    }
    EXPECT_EQ(object()->name(), OdString(L"before"));
    object(OdDb::kForWrite)->setName(L"later");
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(object()->name(), OdString(L"before"));
}

//--------------------------------------------------------------------------------------------------
// Drawings and clones

namespace {

class ModelDrawing : public ModelObject
{
protected:
    ModelDrawing() { std::filesystem::create_directory(m_folder); }
    ~ModelDrawing() override
    {
        m_database.release();
        std::filesystem::remove_all(m_folder);
    }

    OdString path() const { return OdString::fromUtf8((m_folder / "model.zdw").string()); }

    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("zem_model_" + std::to_string(getpid()));
};

}  // namespace

TEST_F(ModelDrawing, ComesBackFromADrawing)
{
    const OdDbObjectIdArray links = listLinks(7);
    const OdDbObjectId made = append(9);
    ZemIndexMap map;
    map.entries()[OdDbSubentId(kEdge, 3)] = {4, 5};
    object(OdDb::kForWrite)->setAttributes(map);
    object(OdDb::kForWrite)->addTransform(translation(1));
    const OdDbHandle handle = objectId().getHandle();
    odDbSaveDrawingAs(*m_database, path());

    const OdDbDatabasePtr opened = odDbOpenDrawing(path(), OdDbOpenDrawingMode::kForReading);
    const OdDbObjectId lineId = opened->getOdDbObjectId(m_line.getHandle());
    const ObjectPtr read = ZemDbObject::openZemDbObject(lineId, OdDb::kForRead, false);
    ASSERT_FALSE(read.isNull());
    EXPECT_EQ(read->handle(), handle);
    EXPECT_EQ(read->name(), OdString(L"Line_1"));
    EXPECT_EQ(read->constraintDependencies().size(), 1u);
    EXPECT_EQ(read->constraintDependencies().first().getHandle(), made.getHandle());
    ASSERT_EQ(read->persIdDependencies().size(), 7u);
    EXPECT_EQ(read->getPersIdDependency(face(lineId, 4)).getHandle(), links[3].getHandle());
    EXPECT_EQ(read->attributes().getIdx({{lineId}, OdDbSubentId(kEdge, 3)}), 4);
    EXPECT_TRUE(read->getTransform().isEqualTo(OdGeMatrix3d()));
    const OdDbObjectId managerId =
        ZemDbConstraintManager::getInstance(opened->getModelSpaceId(), false);
    EXPECT_EQ(ManagerPtr(managerId.openObject())->zemDbObjects(),
              OdDbObjectIdArray{read->objectId()});
}

TEST_F(ModelDrawing, GivesTheSameBytesWhenItIsSavedAgain)
{
    (void)listLinks(7);
    const Blob before = filed(*object());
    const OdDbHandle handle = objectId().getHandle();
    odDbSaveDrawingAs(*m_database, path());
    const OdDbDatabasePtr opened = odDbOpenDrawing(path(), OdDbOpenDrawingMode::kForReading);
    EXPECT_EQ(filed(*opened->getOdDbObjectId(handle).openObject()), before);
}

TEST_F(ModelObject, IsClonedWithItsBlock)
{
    const OdDbObjectId block = addBlock(*m_database, L"Source");
    const OdDbObjectId entity = addLine(block);
    const OdDbObjectId managerId = ZemDbConstraintManager::getInstance(block, true);
    const OdDbObjectId source = ZemDbObject::getInstance(entity, managerId);
    const OdDbObjectId link =
        ObjectPtr(source.openObject(OdDb::kForWrite))->append(face(entity, 1));
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    m_database->copyBlock(block, L"Copy", *mapping);
    OdDbIdPair pair(entity);
    ASSERT_TRUE(mapping->compute(pair));
    const OdDbObjectId clonedEntity = pair.value();
    const ObjectPtr clone = ZemDbObject::openZemDbObject(clonedEntity, OdDb::kForRead, false);
    ASSERT_FALSE(clone.isNull());
    EXPECT_NE(clone->objectId(), source);
    EXPECT_EQ(clone->name(), ObjectPtr(source.openObject())->name());
    ASSERT_EQ(clone->constraintDependencies().size(), 1u);
    EXPECT_NE(clone->constraintDependencies().first(), link);
    EXPECT_EQ(LinkPtr(clone->constraintDependencies().first().openObject())->getInsertId(),
              clonedEntity);
    const ManagerPtr clonedManager = clone->ownerId().openObject();
    ASSERT_FALSE(clonedManager.isNull());
    EXPECT_NE(clonedManager->objectId(), managerId);
    EXPECT_EQ(clonedManager->zemDbObjects(), OdDbObjectIdArray{clone->objectId()});
    EXPECT_EQ(clonedManager->generateZemDbObjectName(L"Line"), OdString(L"Line_2"));
}

TEST_F(ModelObject, DoesntGoWithACloneOfItsEntityAlone)
{
    const OdDbObjectId id = objectId();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    m_database->deepCloneObjects({m_line}, m_block, *mapping);
    OdDbIdPair pair(m_line);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_TRUE(ZemDbObject::openZemDbObject(pair.value(), OdDb::kForRead, false).isNull());
    EXPECT_EQ(ZemDbObject::openZemDbObject(m_line, OdDb::kForRead, false)->objectId(), id);
    EXPECT_NE(ZemDbObject::getInstance(pair.value(), m_managerId), id);
}

TEST_F(ModelObject, IsClonedIntoAnotherDrawing)
{
    const OdDbObjectId block = addBlock(*m_database, L"Source");
    const OdDbObjectId entity = addLine(block);
    const OdDbObjectId managerId = ZemDbConstraintManager::getInstance(block, true);
    (void)ZemDbObject::getInstance(entity, managerId);
    const OdDbDatabasePtr target = OdDbDatabase::createObject();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    target->wblockCloneObjects({block}, target->getBlockTableId(), *mapping,
                               OdDb::DuplicateRecordCloning::kDrcIgnore);
    OdDbIdPair pair(entity);
    ASSERT_TRUE(mapping->compute(pair));
    const ObjectPtr clone = ZemDbObject::openZemDbObject(pair.value(), OdDb::kForRead, false);
    ASSERT_FALSE(clone.isNull());
    EXPECT_EQ(clone->database(), target.get());
    EXPECT_EQ(clone->attachedEntityId(), pair.value());
}

TEST_F(ModelObject, CloningIsUndone)
{
    const OdDbObjectId block = addBlock(*m_database, L"Source");
    const OdDbObjectId managerId = ZemDbConstraintManager::getInstance(block, true);
    (void)ZemDbObject::getInstance(addLine(block), managerId);
    m_database->startUndoRecord();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    m_database->copyBlock(block, L"Copy", *mapping);
    OdDbIdPair pair(managerId);
    ASSERT_TRUE(mapping->compute(pair));
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(pair.value().isErased());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(ManagerPtr(pair.value().openObject())->zemDbObjects().size(), 1u);
}

TEST_F(ModelObject, KeepsItsEntityByASoftReferenceAndOwnsItsLinks)
{
    const OdDbObjectIdArray links = listLinks(1);
    const OdDbObjectId made = append(1);
    LoggingFiler filer;
    std::vector<OdDbReference> references;
    filer.collectReferences(&references);
    object()->dwgOutFields(&filer);
    const auto has = [&](OdDb::ReferenceType type, OdDbObjectId id) {
        return std::find(references.begin(), references.end(), OdDbReference{type, id}) !=
               references.end();
    };
    EXPECT_TRUE(has(OdDb::ReferenceType::kHardOwnershipRef, made));
    EXPECT_TRUE(has(OdDb::ReferenceType::kSoftPointerRef, m_line));
    EXPECT_TRUE(has(OdDb::ReferenceType::kSoftPointerRef, links[0]));
}

//--------------------------------------------------------------------------------------------------
// Free functions

TEST_F(ModelObject, IsSignalledByItsEntity)
{
    settle();
    (void)append(1);
    zemu::signalEntityState(m_line, true);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
    zemu::signalEntityState(m_line, false);
    EXPECT_TRUE(modified().isEmpty());
    zemu::signalEntityState(OdDbObjectId(), true);
    zemu::signalEntityState(m_other, true);
    EXPECT_TRUE(modified().isEmpty());
}

TEST_F(ModelObject, ItsListedLinksAreFoundByAPath)
{
    const OdDbObjectIdArray links = listLinks(3);
    EXPECT_EQ(zemu::findDepByFSP(face(m_line, 2)), links[1]);
    EXPECT_TRUE(zemu::findDepByFSP(face(m_line, 4)).isNull());
    EXPECT_TRUE(zemu::findDepByFSP(face(m_other, 2)).isNull());
    EXPECT_TRUE(zemu::findDepByFSP({}).isNull());
}

TEST_F(ModelObject, ItsListedLinksAreAppended)
{
    const OdDbObjectIdArray links = listLinks(2);
    OdDbObjectIdArray out{m_line};
    zemu::findAllPersIdDeps(m_line, out);
    EXPECT_EQ(out, (OdDbObjectIdArray{m_line, links[0], links[1]}));
    EXPECT_EQ(zemu::getAllPersIdDeps(m_line), links);
    EXPECT_TRUE(zemu::getAllPersIdDeps(m_other).isEmpty());
    EXPECT_TRUE(zemu::getAllPersIdDeps(OdDbObjectId()).isEmpty());
}
