#include "assoc/od_db_assoc_network.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"
#include "store/od_db_drawing.h"

#include "model_test_support.h"
#include "zem_clone_utils.h"
#include "zem_database_utils.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_variable_reactor.h"
#include "zem_db_variable_utils.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_exception.h"

#include <unistd.h>

#include <filesystem>
#include <limits>

namespace {

using namespace model_test;

using ConstraintPtr = OdSmartPtr<ZemConstraint>;

/// Says that every constraint has a value.
class Kinds : public ZemDbConstraintManagerPE
{
public:
    bool isParametric(ZemConstraint const*) const override { return true; }
    bool isLinearDimension(ZemConstraint const*) const override { return true; }
    bool isAngularDimension(ZemConstraint const*) const override { return false; }
    OdString generateConstraintName(ZemDbConstraintManager const*,
                                    ZemConstraint const*) const override
    {
        return OdString();
    }
};

class ConstraintManager : public ModelTest
{
protected:
    ConstraintManager()
    {
        ZemDbConstraintManager::desc()->addX(ZemDbConstraintManagerPE::desc(), m_kinds.get());
    }
    ~ConstraintManager() override
    {
        ZemDbConstraintManager::desc()->delX(ZemDbConstraintManagerPE::desc());
    }

    static ConstraintPtr newConstraint() { return ZemConstraint::desc()->create(); }
    ConstraintPtr addConstraint()
    {
        const ConstraintPtr constraint = newConstraint();
        manager(OdDb::kForWrite)->addConstraint(constraint);
        return constraint;
    }
    void setStatus(ConstraintManagerStatus status) { manager(OdDb::kForWrite)->setStatus(status); }
    void notify(OdDbObjectId entity, bool modified)
    {
        manager(OdDb::kForWrite)->notifyAboutModifications(entity, modified);
    }
    OdDbObjectIdArray modified() const { return manager()->getModifiedObjects(); }
    OdDbObjectId addVariable(OdString const& name)
    {
        return zemu::getAssocVariable(m_block, name, /*create=*/true);
    }
    static void follow(ConstraintPtr const& constraint, OdDbObjectId variable)
    {
        constraint->properties().setProperty(L"assocVar", variable,
                                             OdDb::ReferenceType::kSoftPointerRef);
    }
    ZemExtendedPath argument(std::int64_t index) const
    {
        ZemExtendedPath path;
        path.path = face(m_line, index);
        return path;
    }
    /// Makes a solver keep something.
    void fillTcCache()
    {
        const ManagerPtr opened = manager(OdDb::kForWrite);
        opened->tcCache().objects.push_back(newConstraint());
        opened->tcCache().byEntity[m_line] = newConstraint();
    }
    bool isTcCacheEmpty() const
    {
        const ManagerPtr opened = manager();
        return opened->tcCache().objects.empty() && opened->tcCache().byEntity.empty();
    }

    OdSmartPtr<Kinds> m_kinds = odrxMake<OdRxObjectImpl<Kinds>>();
};

}  // namespace

//--------------------------------------------------------------------------------------------------
// Instances

TEST_F(ConstraintManager, IsMadeOnceForABlock)
{
    const OdDbObjectId block = addBlock(*m_database, L"B");
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(block, false).isNull());
    const OdDbObjectId id = ZemDbConstraintManager::getInstance(block, true);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(ZemDbConstraintManager::getInstance(block, true), id);
    EXPECT_EQ(ZemDbConstraintManager::getInstance(block, false), id);
    EXPECT_NE(id, m_managerId);
}

TEST_F(ConstraintManager, StandsInTheModulesDictionaryOfItsBlock)
{
    EXPECT_EQ(zemu::getObjInExtDict(m_block, L"ZEM_DATABASE", nullptr), m_managerId);
    EXPECT_EQ(manager()->blockId(), m_block);
}

TEST_F(ConstraintManager, IsNotMadeForWhatCantBeOpened)
{
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(OdDbObjectId(), true).isNull());
    EXPECT_TRUE(ZemDbConstraintManager::getRootCM(nullptr, true).isNull());
}

TEST_F(ConstraintManager, OfABlockIsListedInTheRoot)
{
    const OdDbObjectId rootId = ZemDbConstraintManager::getRootCM(m_database.get(), false);
    ASSERT_FALSE(rootId.isNull());
    EXPECT_NE(rootId, m_managerId);
    const OdDbObjectId second =
        ZemDbConstraintManager::getInstance(addBlock(*m_database, L"B"), true);
    const ManagerPtr root = rootId.openObject();
    EXPECT_EQ(root->getAllConstraintManagers(), (OdDbObjectIdArray{m_managerId, second}));
    EXPECT_TRUE(root->blockId().isNull());
    EXPECT_EQ(zemu::getRootObjectByName(m_database.get(), L"ZEM_DATABASE", nullptr), rootId);
}

TEST_F(ConstraintManager, IsNotListedInTheRootIfThatIsNotWanted)
{
    const OdDbObjectId block = addBlock(*m_database, L"B");
    const OdDbObjectId id = ZemDbConstraintManager::getInstanceImpl(block, true, false);
    const ManagerPtr root = ZemDbConstraintManager::getRootCM(m_database.get(), false).openObject();
    EXPECT_EQ(root->getAllConstraintManagers(), OdDbObjectIdArray{m_managerId});
    EXPECT_EQ(ZemDbConstraintManager::getInstanceImpl(block, false, true), id);
    EXPECT_EQ(root->getAllConstraintManagers(), OdDbObjectIdArray{m_managerId});
    EXPECT_EQ(ZemDbConstraintManager::getInstance(block, true), id);
    EXPECT_EQ(root->getAllConstraintManagers(), (OdDbObjectIdArray{m_managerId, id}));
}

TEST_F(ConstraintManager, NoRootIsMadeByLooking)
{
    const OdDbDatabasePtr empty = OdDbDatabase::createObject();
    EXPECT_TRUE(ZemDbConstraintManager::getRootCM(empty.get(), false).isNull());
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(empty->getModelSpaceId(), false).isNull());
    EXPECT_TRUE(ZemDbConstraintManager::getRootCM(empty.get(), false).isNull());
}

TEST_F(ConstraintManager, ListsAChildOnce)
{
    const ManagerPtr opened = manager();
    opened->upgradeOpen();
    opened->addChildConstraintManager(m_line);
    opened->addChildConstraintManager(m_line);
    EXPECT_EQ(opened->getAllConstraintManagers(), OdDbObjectIdArray{m_line});
    const ManagerPtr read = manager();
    read->addChildConstraintManager(m_line);
}

TEST_F(ConstraintManager, IsNotWhatElseStandsUnderItsKey)
{
    const OdDbObjectId block = addBlock(*m_database, L"B");
    (void)zemu::getObjInExtDict(block, L"ZEM_DATABASE", OdDbXrecord::desc());
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(block, false).isNull());
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(block, true).isNull());
    const ManagerPtr root = ZemDbConstraintManager::getRootCM(m_database.get(), false).openObject();
    EXPECT_EQ(root->getAllConstraintManagers(), OdDbObjectIdArray{m_managerId});

    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    (void)zemu::getRootObjectByName(other.get(), L"ZEM_DATABASE", OdDbXrecord::desc());
    EXPECT_TRUE(ZemDbConstraintManager::getRootCM(other.get(), false).isNull());
    EXPECT_TRUE(ZemDbConstraintManager::getRootCM(other.get(), true).isNull());
    ZemDbConstraintManager::notifyRootCM(other.get());
}

TEST_F(ConstraintManager, ElsewhereBelongsToNoBlock)
{
    const ManagerPtr lone = odrxMake<ZemDbConstraintManager>();
    EXPECT_TRUE(lone->blockId().isNull());
    m_database->addOdDbObject(lone.get(), m_block);
    EXPECT_TRUE(lone->blockId().isNull());
    const OdDbDictionaryPtr dictionary = OdDbDictionary::createObject();
    lone->setOwnerId(m_database->addOdDbObject(dictionary.get(), m_block));
    EXPECT_TRUE(lone->blockId().isNull());
}

TEST_F(ConstraintManager, MakingItIsUndoneAndDoneAgain)
{
    const OdDbObjectId block = addBlock(*m_database, L"B");
    m_database->startUndoRecord();
    const OdDbObjectId id = ZemDbConstraintManager::getInstance(block, true);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(block, false).isNull());
    const ManagerPtr root = ZemDbConstraintManager::getRootCM(m_database.get(), false).openObject();
    EXPECT_EQ(root->getAllConstraintManagers(), OdDbObjectIdArray{m_managerId});
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(ZemDbConstraintManager::getInstance(block, false), id);
    EXPECT_EQ(root->getAllConstraintManagers().size(), 2u);
}

//--------------------------------------------------------------------------------------------------
// Status

TEST_F(ConstraintManager, IsNewAtFirstAndAllIsModifiedAtTheFirstNotice)
{
    EXPECT_EQ(manager()->getStatus(), 3);
    EXPECT_FALSE(manager()->isUpToDate());
    notify(m_line, true);
    EXPECT_EQ(manager()->getStatus(), 4);
    EXPECT_TRUE(modified().isEmpty());
    notify(m_line, false);
    EXPECT_EQ(manager()->getStatus(), 4);
}

TEST_F(ConstraintManager, ListsModifiedEntitiesOnceAndInOrder)
{
    setStatus(kCmUpToDate);
    notify(m_other, true);
    notify(m_line, true);
    notify(m_other, true);
    EXPECT_EQ(modified(), (OdDbObjectIdArray{m_line, m_other}));
    EXPECT_EQ(manager()->getStatus(), 2);
}

TEST_F(ConstraintManager, IsUpToDateWhenTheLastModifiedEntityGoes)
{
    setStatus(kCmUpToDate);
    notify(m_line, true);
    notify(m_other, true);
    notify(m_line, false);
    EXPECT_EQ(manager()->getStatus(), 2);
    notify(m_other, false);
    EXPECT_EQ(manager()->getStatus(), 0);
    EXPECT_TRUE(manager()->isUpToDate());
}

TEST_F(ConstraintManager, ANoticeOfAnEntityThatIsntListedChangesNothing)
{
    setStatus(kCmObjectsModified);
    notify(m_line, false);
    EXPECT_EQ(manager()->getStatus(), 2);
    setStatus(kCmSetByHost);
    notify(m_line, false);
    EXPECT_EQ(manager()->getStatus(), 1);
}

TEST_F(ConstraintManager, AtStatusOneANoticeMovesToTwo)
{
    setStatus(kCmObjectsModified);
    notify(m_line, true);
    notify(m_other, true);
    setStatus(kCmSetByHost);
    EXPECT_EQ(modified().size(), 2u);
    notify(m_line, true);
    EXPECT_EQ(manager()->getStatus(), 2);
    setStatus(kCmSetByHost);
    notify(m_line, false);
    EXPECT_EQ(manager()->getStatus(), 2);
    setStatus(kCmSetByHost);
    notify(m_other, false);
    EXPECT_EQ(manager()->getStatus(), 0);
}

TEST_F(ConstraintManager, StatusOneAndTwoKeepTheModifiedEntities)
{
    struct Row
    {
        ConstraintManagerStatus status;
        unsigned kept;
    };
    constexpr Row kRows[] = {{kCmUpToDate, 0}, {kCmSetByHost, 1}, {kCmNew, 0}, {kCmAllModified, 0}};
    for (Row const& row : kRows) {
        setStatus(kCmUpToDate);
        notify(m_line, true);
        setStatus(row.status);
        EXPECT_EQ(modified().size(), row.kept) << row.status;
        setStatus(kCmObjectsModified);
        EXPECT_EQ(modified().size(), row.kept) << row.status;
    }
}

TEST_F(ConstraintManager, TheStatusThatItHasNeedsNoWrite)
{
    const ManagerPtr read = manager();
    read->setStatus(kCmNew);
    EXPECT_EQ(thrownCode([&] { read->setStatus(kCmUpToDate); }), kOdNotOpenForWrite);
}

TEST_F(ConstraintManager, ANoticeWhileNothingIsKnownNeedsItOpenForWrite)
{
    const ManagerPtr read = manager();
    EXPECT_EQ(thrownCode([&] { read->notifyAboutModifications(m_line, true); }),
              kOdNotOpenForWrite);
    EXPECT_EQ(read->getStatus(), kCmNew);
}

TEST_F(ConstraintManager, ANoticeListsNothingIfAListenerSaysThatAllIsModified)
{
    class Setter : public OdDbXrecord
    {
    public:
        void openedForModify(OdDbObject const* object) override
        {
            if (std::exchange(m_isSetting, false)) {
                ManagerPtr(object->objectId().openObject(OdDb::kForWrite))
                    ->setStatus(kCmAllModified);
            }
        }
        bool m_isSetting = false;
    };
    setStatus(kCmUpToDate);
    const ConstraintPtr constraint = addConstraint();
    const OdSmartPtr<Setter> setter = odrxMake<Setter>();
    manager(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(setter.get()));
    setter->m_isSetting = true;
    notify(m_line, true);
    EXPECT_FALSE(setter->m_isSetting);
    EXPECT_EQ(manager()->getStatus(), kCmAllModified);
    EXPECT_TRUE(modified().isEmpty());
    setStatus(kCmUpToDate);
    setter->m_isSetting = true;
    manager(OdDb::kForWrite)
        ->notifyConstraintModify(constraint.get(), ZemConstraint::kSolutionChanged);
    EXPECT_FALSE(setter->m_isSetting);
    EXPECT_EQ(manager()->getStatus(), kCmAllModified);
}

TEST_F(ConstraintManager, IsRaisedToWriteByANotice)
{
    setStatus(kCmObjectsModified);
    const ManagerPtr read = manager();
    read->notifyAboutModifications(m_line, true);
    EXPECT_TRUE(read->isWriteEnabled());
    EXPECT_EQ(read->getModifiedObjects().size(), 1u);
}

TEST_F(ConstraintManager, NoticesAreUndoneAndDoneAgain)
{
    setStatus(kCmUpToDate);
    notify(m_other, true);
    m_database->startUndoRecord();
    notify(m_line, true);
    setStatus(kCmSetByHost);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_other});
    EXPECT_EQ(manager()->getStatus(), 2);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(modified(), (OdDbObjectIdArray{m_line, m_other}));
    EXPECT_EQ(manager()->getStatus(), 1);
}

TEST_F(ConstraintManager, NothingGoesToTheRootByItself)
{
    const ManagerPtr root = ZemDbConstraintManager::getRootCM(m_database.get(), false).openObject();
    notify(m_line, true);
    EXPECT_EQ(root->getStatus(), 3);
}

TEST_F(ConstraintManager, TheRootIsToldOfADrawing)
{
    ZemDbConstraintManager::notifyRootCM(m_database.get());
    const ManagerPtr root = ZemDbConstraintManager::getRootCM(m_database.get(), false).openObject();
    EXPECT_EQ(root->getStatus(), 4);
    EXPECT_EQ(manager()->getStatus(), 3);
    const OdDbDatabasePtr empty = OdDbDatabase::createObject();
    ZemDbConstraintManager::notifyRootCM(empty.get());
    ZemDbConstraintManager::notifyRootCM(nullptr);
    EXPECT_TRUE(ZemDbConstraintManager::getRootCM(empty.get(), false).isNull());
}

TEST_F(ConstraintManager, ANoticeGivesUpWhatTheSolverKept)
{
    fillTcCache();
    notify(m_line, true);
    EXPECT_TRUE(isTcCacheEmpty());
    fillTcCache();
    setStatus(kCmUpToDate);
    EXPECT_FALSE(isTcCacheEmpty());
    notify(m_line, false);
    EXPECT_TRUE(isTcCacheEmpty());
}

TEST_F(ConstraintManager, IsMarkedWithAHigherStatusAlone)
{
    setStatus(kCmUpToDate);
    fillTcCache();
    zemu::markConstraintManagerChanged(m_managerId, kCmObjectsModified);
    EXPECT_EQ(manager()->getStatus(), 2);
    EXPECT_TRUE(isTcCacheEmpty());
    fillTcCache();
    zemu::markConstraintManagerChanged(m_managerId, kCmSetByHost);
    EXPECT_EQ(manager()->getStatus(), 2);
    EXPECT_TRUE(isTcCacheEmpty());
    zemu::markConstraintManagerChanged(m_line, kCmAllModified);
    zemu::markConstraintManagerChanged(OdDbObjectId(), kCmAllModified);
}

TEST_F(ConstraintManager, AnswersNobodyWhileItIsClosed)
{
    ZemDbConstraintManager* const closed = manager().get();
    EXPECT_EQ(thrownCode([&] { (void)closed->getStatus(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->isUpToDate(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getModifiedObjects(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getDesignIntentOptions(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->zemDbObjects(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->generateZemDbObjectName(L"a"); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { closed->generateZemDbObjectNames(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->constraints(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->constraintsCount(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getConstraintByNodeId(1); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getDimConstraint(m_line); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->variables(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->variableReactor(true); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->blockId(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getAllConstraintManagers(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getReadProperties(); }), kOdNotOpenForRead);
}

TEST_F(ConstraintManager, IsNotChangedWhileItIsOpenForRead)
{
    const ManagerPtr read = manager();
    const ObjectPtr modelObject = odrxMake<ZemDbObject>();
    m_database->addOdDbObject(modelObject.get(), m_managerId);
    EXPECT_EQ(thrownCode([&] { read->setDesignIntentOptions(L"x"); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->registerZemDbObject(modelObject.get()); }),
              kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->addConstraint(newConstraint()); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->removeAllConstraints(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->addChildConstraintManager(m_line); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)read->variableReactor(true); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->removeVariable(m_line); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { read->audit(); }), kOdNotOpenForWrite);
}

//--------------------------------------------------------------------------------------------------
// Design intent

TEST_F(ConstraintManager, HasTheDesignIntentNullAtFirst)
{
    EXPECT_EQ(manager()->getDesignIntentOptions(), OdString(L"null"));
}

TEST_F(ConstraintManager, StoresTheDesignIntentAndRemovesAnEmptyOne)
{
    manager(OdDb::kForWrite)->setDesignIntentOptions(L"keep symmetry");
    EXPECT_EQ(manager()->getDesignIntentOptions(), OdString(L"keep symmetry"));
    manager(OdDb::kForWrite)->setDesignIntentOptions(OdString());
    EXPECT_TRUE(manager()->getDesignIntentOptions().isEmpty());
    EXPECT_TRUE(manager()->getReadProperties().getProperty(L"DesignIntentSettings").isNull());
}

TEST_F(ConstraintManager, TheDesignIntentThatItHasNeedsNoWrite)
{
    manager()->setDesignIntentOptions(L"null");
}

//--------------------------------------------------------------------------------------------------
// Model objects

TEST_F(ConstraintManager, FindsOrMakesTheModelObjectOfAnEntity)
{
    const OdDbObjectId id = manager()->getZemDbObject(m_line);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(manager()->getZemDbObject(m_line), id);
    EXPECT_EQ(id, objectId());
}

TEST_F(ConstraintManager, ListsAModelObjectOnce)
{
    const ObjectPtr opened = object(OdDb::kForWrite);
    const ManagerPtr read = manager();
    read->registerZemDbObject(opened.get());
    read->registerZemDbObject(nullptr);
    EXPECT_EQ(read->zemDbObjects(), OdDbObjectIdArray{opened->objectId()});
}

TEST_F(ConstraintManager, TakesAModelObjectOffTheList)
{
    const ObjectPtr opened = object(OdDb::kForWrite);
    manager(OdDb::kForWrite)->unregisterZemDbObject(opened.get());
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    manager()->unregisterZemDbObject(opened.get());
    manager()->unregisterZemDbObject(nullptr);
}

TEST_F(ConstraintManager, ARenamedModelObjectCanBeErased)
{
    (void)objectId();
    (void)manager()->generateZemDbObjectName(L"Solid");
    object(OdDb::kForWrite)->setName(L"Other_1");
    erase(m_line);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Other"), OdString(L"Other_1"));
}

TEST_F(ConstraintManager, AModelObjectRenamedThroughABagThatIsHeldCanBeErased)
{
    const OdDbObjectId id = objectId();
    {
        const ObjectPtr opened = object(OdDb::kForWrite);
        ZemProperties& bag = opened->getWriteProperties();
        (void)manager()->generateZemDbObjectName(L"Bolt");
        ASSERT_TRUE(bag.setProperty(L"Name", OdString(L"Bolt_7")));
        EXPECT_EQ(opened->name(), OdString(L"Bolt_7"));
    }
    erase(id);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Line"), OdString(L"Line_1"));
}

TEST_F(ConstraintManager, AModelObjectThatLostItsNameThroughABagThatIsHeldCanBeErased)
{
    const OdDbObjectId id = objectId();
    {
        const ObjectPtr opened = object(OdDb::kForWrite);
        ZemProperties& bag = opened->getWriteProperties();
        (void)manager()->generateZemDbObjectName(L"Bolt");
        ASSERT_TRUE(bag.setProperty(L"Name", OdString()));
    }
    erase(id);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Line"), OdString(L"Line_1"));
    manager(OdDb::kForWrite)->generateZemDbObjectNames();
}

TEST_F(ConstraintManager, AModelObjectRenamedByAStreamThatBreaksOffCanBeErased)
{
    const OdDbObjectId id = objectId();
    Blob data = filed(*object());
    {
        const ObjectPtr named = object(OdDb::kForWrite);
        named->setName(L"Bolt_3");
    }
    (void)manager()->generateZemDbObjectName(L"Bolt");
    data.pop_back();
    EXPECT_NE(readInto(*object(OdDb::kForWrite), data, m_database.get()), kOdOk);
    EXPECT_EQ(object()->name(), OdString(L"Line_1"));
    erase(id);
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Bolt"), OdString(L"Bolt_1"));
}

TEST_F(ConstraintManager, MakesNoModelObjectForWhatIsElsewhereOrNoEntity)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId line = addLine(other->getModelSpaceId());
    EXPECT_EQ(thrownCode([&] { (void)manager()->getZemDbObject(line); }), kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { (void)manager()->getZemDbObject(m_managerId); }),
              kOdNotThatKindOfClass);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_TRUE(line.openObject()->getPersistentReactors().isEmpty());
}

TEST_F(ConstraintManager, GeneratesNamesFromTheNumberAboveThatOfTheObjects)
{
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_1"));
    (void)objectId();
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_2"));
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_2"));
}

TEST_F(ConstraintManager, GeneratesNamesWithoutTheNumberOfTheBase)
{
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid_12"), OdString(L"Solid_1"));
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid12"), OdString(L"Solid_1"));
    EXPECT_EQ(manager()->generateZemDbObjectName(L"12"), OdString(L"_1"));
    EXPECT_EQ(manager()->generateZemDbObjectName(OdString()), OdString(L"_1"));
}

TEST_F(ConstraintManager, GeneratesNoNameThatIsTaken)
{
    object(OdDb::kForWrite)->setName(L"Solid_2");
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_3"));
    object(OdDb::kForWrite)->setName(L"Solid_3");
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_2"));
}

TEST_F(ConstraintManager, ANameIsFreeAgainWhenItsObjectGoes)
{
    object(OdDb::kForWrite)->setName(L"Solid_1");
    ObjectPtr(ZemDbObject::getInstance(m_other, m_managerId).openObject(OdDb::kForWrite))
        ->setName(L"Solid_2");
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_3"));
    m_database->startUndoRecord();
    erase(m_other);
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_2"));
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_3"));
}

TEST_F(ConstraintManager, UndoingARenamingFreesTheName)
{
    (void)objectId();
    m_database->startUndoRecord();
    object(OdDb::kForWrite)->setName(L"Solid_2");
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_3"));
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_2"));
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(manager()->generateZemDbObjectName(L"Solid"), OdString(L"Solid_3"));
}

TEST_F(ConstraintManager, GeneratesTheFirstFreeNameAfterAnySequence)
{
    // Names in the way, some of which go again, against a search from the start each time.
    std::vector<OdDbObjectId> entities;
    std::uint32_t random = 7;
    for (int step = 0; step < 300; ++step) {
        random = random * 1664525u + 1013904223u;
        m_host->entityName = (random >> 20) % 3 == 0 ? L"A" : L"B";
        if ((random >> 24) % 3 != 0 || entities.empty()) {
            entities.push_back(addLine(m_block));
            (void)manager()->getZemDbObject(entities.back());
        } else {
            const std::size_t at = (random >> 8) % entities.size();
            erase(entities[at]);
            entities.erase(entities.begin() + static_cast<std::ptrdiff_t>(at));
        }
        std::set<OdString> taken;
        for (OdDbObjectId id : manager()->zemDbObjects()) {
            EXPECT_TRUE(taken.insert(ObjectPtr(id.openObject())->name()).second);
        }
        for (wchar_t const* base : {L"A", L"B", L"C"}) {
            int number = static_cast<int>(entities.size()) + 1;
            while (taken.count(OdString().format(L"%ls_%d", base, number)) != 0) {
                ++number;
            }
            ASSERT_EQ(manager()->generateZemDbObjectName(base),
                      OdString().format(L"%ls_%d", base, number));
        }
    }
}

TEST_F(ConstraintManager, NamesModelObjectsThatHaveNoNameOrATakenOne)
{
    const ObjectPtr first = object(OdDb::kForWrite);
    first->setName(L"Bolt_7");
    const ObjectPtr second =
        ZemDbObject::getInstance(m_other, m_managerId).openObject(OdDb::kForWrite);
    second->setName(L"Bolt_7");
    const ObjectPtr third = odrxMake<ZemDbObject>();
    m_database->addOdDbObject(third.get(), m_managerId);
    manager(OdDb::kForWrite)->registerZemDbObject(third.get());
    manager()->generateZemDbObjectNames();
    EXPECT_EQ(first->name(), OdString(L"Bolt_7"));
    EXPECT_EQ(second->name(), OdString(L"Bolt_4"));
    EXPECT_EQ(third->name(), OdString(L"Line_4"));
    manager()->generateZemDbObjectNames();
    EXPECT_EQ(second->name(), OdString(L"Bolt_4"));
}

//--------------------------------------------------------------------------------------------------
// Constraints

TEST_F(ConstraintManager, NumbersConstraintsAboveTheGreatest)
{
    const ConstraintPtr first = addConstraint();
    const ConstraintPtr second = addConstraint();
    EXPECT_EQ(first->nodeId(), 1u);
    EXPECT_EQ(second->nodeId(), 2u);
    EXPECT_EQ(second->owner(), m_managerId);
    EXPECT_EQ(manager()->constraintsCount(), 2u);
    manager(OdDb::kForWrite)->removeConstraint(second);
    EXPECT_EQ(addConstraint()->nodeId(), 2u);
    manager(OdDb::kForWrite)->removeConstraint(first);
    EXPECT_EQ(addConstraint()->nodeId(), 3u);
}

TEST_F(ConstraintManager, FindsConstraintsByNumber)
{
    const ConstraintPtr constraint = addConstraint();
    EXPECT_EQ(manager()->getConstraintByNodeId(1), constraint);
    EXPECT_TRUE(manager()->getConstraintByNodeId(0).isNull());
    EXPECT_TRUE(manager()->getConstraintByNodeId(2).isNull());
}

TEST_F(ConstraintManager, RefusesANullConstraint)
{
    const ManagerPtr opened = manager(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { opened->addConstraint(ConstraintPtr()); }), kOdNullObjectPointer);
    opened->removeConstraint(ConstraintPtr());
    opened->notifyConstraintModify(nullptr, ZemConstraint::kSolutionChanged);
    EXPECT_EQ(opened->getStatus(), 3);
}

TEST_F(ConstraintManager, RemovesOnlyItsOwnConstraints)
{
    const ConstraintPtr own = addConstraint();
    const ConstraintPtr foreign = newConstraint();
    foreign->setNodeId(1);
    fillTcCache();
    manager(OdDb::kForWrite)->removeConstraint(foreign);
    EXPECT_EQ(manager()->constraintsCount(), 1u);
    EXPECT_FALSE(isTcCacheEmpty());
    manager(OdDb::kForWrite)->removeConstraint(own);
    EXPECT_EQ(manager()->constraintsCount(), 0u);
    EXPECT_TRUE(isTcCacheEmpty());
    EXPECT_TRUE(own->owner().isNull());
}

TEST_F(ConstraintManager, RemovesAllConstraints)
{
    (void)addConstraint();
    (void)addConstraint();
    manager(OdDb::kForWrite)->removeAllConstraints();
    EXPECT_TRUE(manager()->constraints().empty());
}

TEST_F(ConstraintManager, AConstraintThatIsAddedAgainOnlyGetsTheNextNumber)
{
    const ConstraintPtr twice = addConstraint();
    manager(OdDb::kForWrite)->addConstraint(twice);
    EXPECT_EQ(twice->nodeId(), 2u);
    EXPECT_EQ(manager()->constraintsCount(), 1u);
    EXPECT_EQ(manager()->getConstraintByNodeId(2), twice);
    manager(OdDb::kForWrite)->removeAllConstraints();
    EXPECT_EQ(manager()->constraintsCount(), 0u);
}

TEST_F(ConstraintManager, TakesAConstraintOutOfItsOwnListAgain)
{
    (void)addConstraint();  // the manager alone holds it
    const ManagerPtr opened = manager(OdDb::kForWrite);
    opened->addConstraint(opened->constraints().begin()->second);
    ASSERT_EQ(opened->constraintsCount(), 1u);
    EXPECT_EQ(opened->getConstraintByNodeId(2)->owner(), m_managerId);
    opened->removeConstraint(opened->constraints().begin()->second);
    EXPECT_EQ(opened->constraintsCount(), 0u);
}

TEST_F(ConstraintManager, RemovesConstraintsWhateverNumberTheySayTheyHave)
{
    const ConstraintPtr first = addConstraint();
    const ConstraintPtr second = addConstraint();
    second->setNodeId(77);
    manager(OdDb::kForWrite)->removeConstraint(second);
    EXPECT_EQ(manager()->constraintsCount(), 1u);
    EXPECT_TRUE(second->owner().isNull());
    first->setNodeId(78);
    manager(OdDb::kForWrite)->removeAllConstraints();
    EXPECT_EQ(manager()->constraintsCount(), 0u);
    EXPECT_TRUE(first->owner().isNull());
}

TEST_F(ConstraintManager, LeavesAConstraintToTheManagerThatHasTakenItSince)
{
    const ConstraintPtr constraint = addConstraint();
    const OdDbObjectId otherId =
        ZemDbConstraintManager::getInstance(addBlock(*m_database, L"B"), true);
    const ManagerPtr other = otherId.openObject(OdDb::kForWrite);
    other->addConstraint(newConstraint());
    other->addConstraint(constraint);
    manager(OdDb::kForWrite)->removeAllConstraints();
    EXPECT_EQ(manager()->constraintsCount(), 0u);
    EXPECT_EQ(constraint->owner(), otherId);
    EXPECT_EQ(other->getConstraintByNodeId(2), constraint);
}

TEST_F(ConstraintManager, ChangesOfConstraintsAreUndoneAndDoneAgain)
{
    addConstraint()->setName(L"first");
    m_database->startUndoRecord();
    manager()->getConstraintByNodeId(1)->setName(L"renamed");
    (void)addConstraint();
    ASSERT_EQ(m_database->undo(), kOdOk);
    ASSERT_EQ(manager()->constraintsCount(), 1u);
    EXPECT_EQ(manager()->getConstraintByNodeId(1)->name(), OdString(L"first"));
    EXPECT_EQ(manager()->getConstraintByNodeId(1)->owner(), m_managerId);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(manager()->constraintsCount(), 2u);
    EXPECT_EQ(manager()->getConstraintByNodeId(1)->name(), OdString(L"renamed"));
}

TEST_F(ConstraintManager, ANoticeBeforeAChangeRecordsUndoAlone)
{
    setStatus(kCmUpToDate);
    const ConstraintPtr constraint = addConstraint();
    const ManagerPtr read = manager();
    EXPECT_EQ(thrownCode([&] {
                  read->notifyConstraintModify(constraint.get(), ZemConstraint::kBeforeChange);
              }),
              kOdNotOpenForWrite);
    manager(OdDb::kForWrite)
        ->notifyConstraintModify(constraint.get(), ZemConstraint::kBeforeChange);
    manager(OdDb::kForWrite)
        ->notifyConstraintModify(constraint.get(), ZemConstraint::kChangeComplete);
    EXPECT_EQ(manager()->getStatus(), 0);
}

TEST_F(ConstraintManager, AChangedConstraintListsTheEntitiesOfItsArguments)
{
    setStatus(kCmUpToDate);
    const ConstraintPtr constraint = addConstraint();
    constraint->setDependencies(zemu::createConstrDependencies(
        m_managerId, {argument(1), argument(2), ZemExtendedPath{{}, kCsXAxis, true}}));
    EXPECT_EQ(manager()->getStatus(), 2);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
    EXPECT_TRUE(m_assertions.expressions.empty());
}

TEST_F(ConstraintManager, AChangedConstraintAtAnUnknownStatusModifiesAll)
{
    const ConstraintPtr constraint = addConstraint();
    constraint->setType(3);
    EXPECT_EQ(manager()->getStatus(), 4);
    EXPECT_TRUE(modified().isEmpty());
}

TEST_F(ConstraintManager, ReportsABrokenArgumentOfAChangedConstraint)
{
    setStatus(kCmUpToDate);
    const ConstraintPtr constraint = addConstraint();
    constraint->setDependencies(zemu::createConstrDependencies(m_managerId, {argument(1)}));
    EXPECT_TRUE(constraint->isValid());
    erase(constraint->dependencies().front().id);
    EXPECT_FALSE(constraint->isValid());
    constraint->setEnabled(false);
    EXPECT_EQ(m_assertions.expressions, std::vector<std::string>{"false"});
}

TEST_F(ConstraintManager, SetsTheValueOfAConstraint)
{
    const ConstraintPtr constraint = addConstraint();
    manager(OdDb::kForWrite)->setConstraintValue(constraint, 2.5);
    EXPECT_EQ(constraint->userValue(), 2.5);
    manager(OdDb::kForWrite)->setConstraintValue(ConstraintPtr(), 2.5);
}

//--------------------------------------------------------------------------------------------------
// Links of constraints

TEST_F(ConstraintManager, LinksArgumentsByTheModelObjectsOfTheirEntities)
{
    ZemExtendedPath csOfLine = argument(3);
    csOfLine.isCsObject = true;
    csOfLine.csType = kCsOrigin;
    const std::vector<ExtendedDep> made =
        zemu::createConstrDependencies(m_managerId, {argument(1), csOfLine});
    ASSERT_EQ(made.size(), 2u);
    EXPECT_FALSE(made[0].isCsObject);
    EXPECT_TRUE(made[1].isCsObject);
    EXPECT_EQ(made[1].csType, kCsOrigin);
    EXPECT_EQ(object()->constraintDependencies(), (OdDbObjectIdArray{made[0].id, made[1].id}));
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{objectId()});
}

TEST_F(ConstraintManager, LinksNothingForAPartOfTheBlocksOwnCoordinateSystem)
{
    const std::vector<ExtendedDep> made =
        zemu::createConstrDependencies(m_managerId, {ZemExtendedPath{{}, kCsZAxis, true}});
    ASSERT_EQ(made.size(), 1u);
    EXPECT_TRUE(made[0].id.isNull());
    EXPECT_EQ(made[0].csType, kCsZAxis);
}

TEST_F(ConstraintManager, ThrowsIfALinkCantBeMade)
{
    const auto textOf = [](auto const& call) {
        try {
            call();
        } catch (ZemException const& error) {
            return error.description();
        }
        return OdString(L"nothing");
    };
    const OdString failed(L"Failed to create dependency");
    m_host->makesLinks = false;
    EXPECT_EQ(textOf([&] { (void)zemu::createConstrDependencies(m_managerId, {argument(1)}); }),
              failed);
    m_host->makesLinks = true;
    EXPECT_EQ(textOf([&] { (void)zemu::createConstrDependencies(m_line, {argument(1)}); }),
              OdString(L"nothing"));
    erase(objectId());
    EXPECT_EQ(textOf([&] { (void)zemu::createConstrDependencies(m_line, {argument(1)}); }), failed);
    EXPECT_EQ(textOf([&] { (void)zemu::createConstrDependencies(m_managerId, {{}}); }), failed);
    erase(m_line);
    EXPECT_EQ(textOf([&] { (void)zemu::createConstrDependencies(m_managerId, {argument(1)}); }),
              failed);
}

namespace {

/// A constraint with links to faces 1 and 2 of the line.
class ConstraintArguments : public ConstraintManager
{
protected:
    ConstraintArguments()
    {
        setStatus(kCmUpToDate);
        add({argument(1), argument(2)});
    }
    ZemExtendedPathArray add(ZemExtendedPathArray const& paths)
    {
        ZemExtendedPathArray added;
        manager(OdDb::kForWrite)->addArguments(m_constraint, paths, added);
        return added;
    }
    std::vector<std::int64_t> faces() const
    {
        std::vector<std::int64_t> indices;
        for (OdDbFullSubentPath const& path : m_constraint->getArguments()) {
            indices.push_back(path.subentId().index());
        }
        return indices;
    }

    ConstraintPtr m_constraint = addConstraint();
};

using Indices = std::vector<std::int64_t>;

}  // namespace

TEST_F(ConstraintArguments, AreAddedOnce)
{
    EXPECT_EQ(faces(), (Indices{1, 2}));
    const ZemExtendedPathArray added = add({argument(2), argument(3), argument(3)});
    ASSERT_EQ(added.size(), 1u);
    EXPECT_EQ(added.front().path, face(m_line, 3));
    EXPECT_EQ(faces(), (Indices{1, 2, 3}));
    EXPECT_EQ(object()->constraintDependencies().size(), 3u);
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
}

TEST_F(ConstraintArguments, OfACoordinateSystemAreOthersThanPlainOnes)
{
    ZemExtendedPath origin = argument(1);
    origin.isCsObject = true;
    origin.csType = kCsOrigin;
    ZemExtendedPath axis = origin;
    axis.csType = kCsXAxis;
    const ZemExtendedPath own{{}, kCsZAxis, true};
    EXPECT_EQ(add({origin, axis, own}).size(), 3u);
    EXPECT_TRUE(add({origin, axis, own}).empty());
    EXPECT_EQ(m_constraint->getArgumentsCount(), 5u);
    manager(OdDb::kForWrite)->removeArguments(m_constraint, {own, axis});
    EXPECT_EQ(m_constraint->getArgumentsCount(), 3u);
    EXPECT_EQ(m_constraint->dependencies().back().csType, kCsOrigin);
}

TEST_F(ConstraintArguments, StayAsTheyWereIfALinkCantBeMade)
{
    ZemExtendedPathArray added;
    ZemExtendedPath nowhere;
    nowhere.path = face(OdDbObjectId(), 1);
    const ManagerPtr opened = manager(OdDb::kForWrite);
    EXPECT_THROW(opened->addArguments(m_constraint, {argument(3), nowhere}, added), ZemException);
    EXPECT_TRUE(added.empty());
    EXPECT_EQ(faces(), (Indices{1, 2}));
}

TEST_F(ConstraintArguments, AreTakenOut)
{
    manager(OdDb::kForWrite)->removeArguments(m_constraint, {argument(1), argument(7)});
    EXPECT_EQ(faces(), Indices{2});
    EXPECT_EQ(object()->constraintDependencies().size(), 2u);
}

TEST_F(ConstraintArguments, ChangingThemIsUndoneAndDoneAgain)
{
    m_database->startUndoRecord();
    add({argument(3)});
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(manager()->getConstraintByNodeId(1)->getArgumentsCount(), 2u);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(manager()->getConstraintByNodeId(1)->getArgumentsCount(), 3u);
}

TEST_F(ConstraintArguments, FollowTheSuccessorWithTheLowestPart)
{
    const OdDbObjectId replaced = m_constraint->dependencies()[0].id;
    const OdDbObjectId kept = m_constraint->dependencies()[1].id;
    const OdDbObjectId erased = addLink(face(m_line, 3));
    erase(erased);
    const OdDbObjectId lowest = addLink(face(m_line, 4));
    ZemDependenciesReplacementMap map;
    map.append(replaced, {addLink(face(m_line, 5)), lowest, erased});
    manager(OdDb::kForWrite)->replaceConstraintDependencies(nullptr, map);
    EXPECT_EQ(m_constraint->dependencies()[0].id, lowest);
    EXPECT_EQ(m_constraint->dependencies()[1].id, kept);
    EXPECT_EQ(faces(), (Indices{4, 2}));
}

TEST_F(ConstraintArguments, FollowRemappingsOfTheirEntityAlone)
{
    const OdDbObjectId replaced = m_constraint->dependencies()[0].id;
    ZemDependenciesReplacementMap map;
    map.append(replaced, {addLink(face(m_line, 4))});
    setStatus(kCmUpToDate);
    const OdDbObjectId other = ZemDbObject::getInstance(m_other, m_managerId);
    manager(OdDb::kForWrite)
        ->replaceConstraintDependencies(ObjectPtr(other.openObject()).get(), map);
    EXPECT_EQ(faces(), (Indices{1, 2}));
    EXPECT_TRUE(manager()->isUpToDate());
    manager(OdDb::kForWrite)->replaceConstraintDependencies(object().get(), map);
    EXPECT_EQ(faces(), (Indices{4, 2}));
}

TEST_F(ConstraintArguments, KeepALinkWithoutALivingSuccessor)
{
    const OdDbObjectId erased = addLink(face(m_line, 3));
    erase(erased);
    ZemDependenciesReplacementMap map;
    map.append(m_constraint->dependencies()[0].id, {erased});
    manager(OdDb::kForWrite)->replaceConstraintDependencies(nullptr, map);
    EXPECT_EQ(faces(), (Indices{1, 2}));
}

TEST_F(ConstraintArguments, OfNoConstraintAreRefused)
{
    ZemExtendedPathArray added;
    const ManagerPtr opened = manager(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { opened->addArguments(ConstraintPtr(), {argument(3)}, added); }),
              kOdNullObjectPointer);
    EXPECT_EQ(thrownCode([&] { opened->removeArguments(ConstraintPtr(), {argument(1)}); }),
              kOdNullObjectPointer);
    EXPECT_TRUE(added.empty());
}

namespace {

/// Takes all constraints out of the manager that it hears is about to change.
class Remover : public OdDbXrecord
{
public:
    void openedForModify(OdDbObject const* object) override
    {
        const ManagerPtr opened = object->objectId().openObject(OdDb::kForWrite);
        if (!m_isDone) {
            m_isDone = true;
            opened->removeAllConstraints();
        }
    }

    bool m_isDone = false;
};

}  // namespace

TEST_F(ConstraintArguments, FollowARemappingWhileAListenerTakesTheConstraintsOut)
{
    const ConstraintPtr second = addConstraint();
    ZemExtendedPathArray added;
    manager(OdDb::kForWrite)->addArguments(second, {argument(1)}, added);
    ZemDependenciesReplacementMap map;
    for (ConstraintPtr const& constraint : {m_constraint, second}) {
        map.append(constraint->dependencies()[0].id, {addLink(face(m_line, 4))});
    }
    const OdSmartPtr<Remover> remover = odrxMake<Remover>();
    manager(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(remover.get()));
    manager(OdDb::kForWrite)->replaceConstraintDependencies(nullptr, map);
    EXPECT_TRUE(remover->m_isDone);
    EXPECT_EQ(manager()->constraintsCount(), 0u);
    EXPECT_EQ(faces(), (Indices{4, 2}));
}

TEST_F(ConstraintManager, RemovesNothingThatAListenerToTheChangeHasTakenOut)
{
    (void)addConstraint();
    const ConstraintPtr constraint = addConstraint();
    const OdSmartPtr<Remover> remover = odrxMake<Remover>();
    manager(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(remover.get()));
    manager(OdDb::kForWrite)->removeConstraint(constraint);
    EXPECT_TRUE(remover->m_isDone);
    EXPECT_EQ(manager()->constraintsCount(), 0u);
    EXPECT_TRUE(constraint->owner().isNull());
}

TEST_F(ConstraintManager, ListsAModelObjectOnceThoughAListenerToTheChangeListsItToo)
{
    class Lister : public OdDbXrecord
    {
    public:
        void openedForModify(OdDbObject const* object) override
        {
            const ManagerPtr opened = object->objectId().openObject(OdDb::kForWrite);
            opened->registerZemDbObject(std::exchange(m_object, ObjectPtr()).get());
        }
        ObjectPtr m_object;
    };
    const ObjectPtr listed = object(OdDb::kForWrite);
    manager(OdDb::kForWrite)->unregisterZemDbObject(listed.get());
    const OdSmartPtr<Lister> lister = odrxMake<Lister>();
    manager(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(lister.get()));
    lister->m_object = listed;
    manager(OdDb::kForWrite)->registerZemDbObject(listed.get());
    EXPECT_TRUE(lister->m_object.isNull());
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{listed->objectId()});
}

TEST_F(ConstraintArguments, OfNoCoordinateSystemAreTheSameWhateverTypeTheirPathTells)
{
    ZemExtendedPath first = argument(1);
    first.csType = kCsXAxis;
    EXPECT_TRUE(add({first}).empty());
    manager(OdDb::kForWrite)->removeArguments(m_constraint, {first});
    EXPECT_EQ(faces(), Indices{2});
}

//--------------------------------------------------------------------------------------------------
// Variables

TEST_F(ConstraintManager, RemovingAConstraintLeavesTheVariableToAnotherOneThatFollowsIt)
{
    const OdDbObjectId variable = addVariable(L"a");
    const ConstraintPtr first = addConstraint();
    const ConstraintPtr second = addConstraint();
    follow(first, variable);
    follow(second, variable);
    const OdDbObjectId reactor = manager(OdDb::kForWrite)->variableReactor(true);
    variable.openObject(OdDb::kForWrite)->addPersistentReactor(reactor);
    manager(OdDb::kForWrite)->removeConstraint(first);
    EXPECT_TRUE(variable.openObject()->hasPersistentReactor(reactor));
    ASSERT_EQ(zemu::setConstExpression(
                  OdDbAssocVariablePtr(variable.openObject(OdDb::kForWrite)).get(), 6.0),
              kOdOk);
    EXPECT_EQ(second->userValue(), 6.0);
    manager(OdDb::kForWrite)->removeConstraint(second);
    EXPECT_FALSE(variable.openObject()->hasPersistentReactor(reactor));
}

TEST_F(ConstraintManager, MakesAConstraintFollowAVariableOfItsName)
{
    const ConstraintPtr constraint = addConstraint();
    constraint->setName(L"d1");
    constraint->setUserValue(4.5);
    EXPECT_EQ(constraint->userExpression(), OdString(L"4.5"));
    manager(OdDb::kForWrite)->createVariable(constraint);
    const OdDbObjectId variable = zemu::getAssocVariable(m_block, L"d1", false);
    ASSERT_FALSE(variable.isNull());
    EXPECT_EQ(constraint->userVariable(), variable);
    EXPECT_EQ(constraint->userExpression(), OdString(L"4.5"));
    EXPECT_TRUE(variable.openObject()->hasPersistentReactor(manager()->variableReactor(false)));
    ASSERT_EQ(zemu::setConstExpression(
                  OdDbAssocVariablePtr(variable.openObject(OdDb::kForWrite)).get(), 6.0),
              kOdOk);
    EXPECT_EQ(constraint->userValue(), 6.0);
}

TEST_F(ConstraintManager, MakesAConstraintFollowTheVariableThatHasItsName)
{
    const OdDbObjectId variable = addVariable(L"d1");
    const ConstraintPtr constraint = addConstraint();
    constraint->setName(L"D1");
    manager(OdDb::kForWrite)->createVariable(constraint);
    EXPECT_EQ(constraint->userVariable(), variable);
    std::set<OdString> names;
    zemu::getVariableNames(m_block, names);
    EXPECT_EQ(names.size(), 1u);
}

TEST_F(ConstraintManager, AConstraintTakesTheValueOfTheVariableThatItFollows)
{
    const OdDbObjectId variable = addVariable(L"d1");
    const ConstraintPtr constraint = addConstraint();
    follow(constraint, variable);
    manager(OdDb::kForWrite)->createVariable(constraint);
    EXPECT_EQ(constraint->userVariable(), variable);
    EXPECT_EQ(constraint->userValue(), 1.0);
    manager(OdDb::kForWrite)->createVariable(ConstraintPtr());
}

TEST_F(ConstraintManager, GivesAConstraintAnExpression)
{
    (void)addVariable(L"a");
    const ConstraintPtr constraint = addConstraint();
    manager(OdDb::kForWrite)->setConstraintName(constraint, L"d1");
    EXPECT_EQ(constraint->name(), OdString(L"d1"));
    EXPECT_EQ(manager(OdDb::kForWrite)->setConstraintExpression(constraint, L"a*3"), kOdOk);
    EXPECT_EQ(constraint->userValue(), 3.0);
    EXPECT_EQ(constraint->userExpression(), OdString(L"a*3"));
    EXPECT_NE(manager(OdDb::kForWrite)->setConstraintExpression(constraint, L"a*"), kOdOk);
    EXPECT_EQ(constraint->userValue(), 3.0);
    EXPECT_EQ(manager(OdDb::kForWrite)->setConstraintExpression(ConstraintPtr(), L"1"),
              kOdVariableMissing);
    ZemDbConstraintManager::desc()->delX(ZemDbConstraintManagerPE::desc());
    EXPECT_EQ(manager(OdDb::kForWrite)->setConstraintExpression(addConstraint(), L"1"),
              kOdVariableMissing);
    ZemDbConstraintManager::desc()->addX(ZemDbConstraintManagerPE::desc(), m_kinds.get());
}

TEST_F(ConstraintManager, MakesOneVariableReactor)
{
    EXPECT_TRUE(manager()->variableReactor(false).isNull());
    const OdDbObjectId id = manager(OdDb::kForWrite)->variableReactor(true);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(id.objectClass(), ZemDbVariableReactor::desc());
    EXPECT_EQ(id.openObject()->ownerId(), m_managerId);
    EXPECT_EQ(manager()->variableReactor(true), id);
    EXPECT_EQ(manager()->variableReactor(false), id);
    EXPECT_TRUE(zemu::assocVariableReactorIsValid(id.openObject().get()));
}

TEST_F(ConstraintManager, MakesAnotherVariableReactorForOneThatWasErased)
{
    const OdDbObjectId id = manager(OdDb::kForWrite)->variableReactor(true);
    erase(id);
    EXPECT_TRUE(manager()->variableReactor(false).isNull());
    const OdDbObjectId second = manager(OdDb::kForWrite)->variableReactor(true);
    EXPECT_FALSE(second.isNull());
    EXPECT_NE(second, id);
}

TEST_F(ConstraintManager, OfNoDrawingMakesNoVariableReactor)
{
    const ManagerPtr lone = odrxMake<ZemDbConstraintManager>();
    EXPECT_EQ(thrownCode([&] { (void)lone->variableReactor(true); }), kOdNotInDatabase);
    EXPECT_TRUE(lone->variableReactor(false).isNull());
}

TEST_F(ConstraintManager, MakesNoVariableReactorWhileItsClassIsNotRegistered)
{
    ZemDbVariableReactor::rxUninit();
    const OdResult thrown =
        thrownCode([&] { (void)manager(OdDb::kForWrite)->variableReactor(true); });
    ZemDbVariableReactor::rxInit();
    EXPECT_EQ(thrown, kOdClassNotRegistered);
    EXPECT_TRUE(manager()->variableReactor(false).isNull());
}

TEST_F(ConstraintManager, OwnsItsVariableReactor)
{
    const OdDbObjectId id = manager(OdDb::kForWrite)->variableReactor(true);
    MemoryFiler filer;
    std::vector<OdDbReference> references;
    filer.collectReferences(&references);
    manager()->dwgOutFields(&filer);
    EXPECT_NE(std::find(references.begin(), references.end(),
                        OdDbReference{OdDb::ReferenceType::kHardOwnershipRef, id}),
              references.end());
}

TEST_F(ConstraintManager, ListsTheVariablesOfItsConstraints)
{
    const OdDbObjectId first = addVariable(L"a");
    const OdDbObjectId second = addVariable(L"b");
    const ConstraintPtr third = addConstraint();
    follow(third, second);
    (void)addConstraint();
    follow(addConstraint(), first);
    EXPECT_EQ(manager()->variables(), (OdDbObjectIdArray{second, first}));
    EXPECT_EQ(manager()->getDimConstraint(second), third);
    EXPECT_TRUE(manager()->getDimConstraint(m_line).isNull());
    EXPECT_TRUE(manager()->getDimConstraint(OdDbObjectId()).isNull());
}

TEST_F(ConstraintManager, RemovingAConstraintTakesTheReactorOffItsVariable)
{
    const OdDbObjectId variable = addVariable(L"a");
    const ConstraintPtr constraint = addConstraint();
    follow(constraint, variable);
    const OdDbObjectId reactor = manager(OdDb::kForWrite)->variableReactor(true);
    variable.openObject(OdDb::kForWrite)->addPersistentReactor(reactor);
    manager(OdDb::kForWrite)->removeConstraint(constraint);
    EXPECT_FALSE(variable.openObject()->hasPersistentReactor(reactor));
    EXPECT_FALSE(variable.isErased());
}

TEST_F(ConstraintManager, RemovesAVariableFromItsNetwork)
{
    const OdDbObjectId variable = addVariable(L"a");
    const ConstraintPtr constraint = addConstraint();
    follow(constraint, variable);
    const OdDbObjectId reactor = manager(OdDb::kForWrite)->variableReactor(true);
    variable.openObject(OdDb::kForWrite)->addPersistentReactor(reactor);
    manager(OdDb::kForWrite)->removeVariable(variable);
    EXPECT_TRUE(variable.isErased());
    EXPECT_TRUE(zemu::getAssocVariable(m_block, L"a", false).isNull());
    EXPECT_EQ(constraint->userVariable(), variable);
    manager(OdDb::kForWrite)->removeVariable(OdDbObjectId());
}

//--------------------------------------------------------------------------------------------------
// Merging and audit

namespace {

class MergedManagers : public ConstraintManager
{
protected:
    ManagerPtr source(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return m_sourceId.openObject(mode, /*openErased=*/true);
    }
    void merge(OdDbIdMapping& mapping)
    {
        const ZemDbReverseIdMapping reverse(mapping);
        manager(OdDb::kForWrite)
            ->mergeManagers(source(OdDb::kForWrite).get(), mapping, reverse, m_changed);
    }
    void merge() { merge(*OdDbIdMapping::createObject()); }
    /// A model object of the other manager for an entity of this one's block.
    OdDbObjectId strayObject(OdDbObjectId entity)
    {
        return ZemDbObject::getInstance(entity, m_sourceId);
    }

    OdDbObjectId m_sourceBlock = addBlock(*m_database, L"Source");
    OdDbObjectId m_sourceId = ZemDbConstraintManager::getInstance(m_sourceBlock, true);
    ZemDbConstraintManager::ChangedIds m_changed;
};

}  // namespace

TEST_F(MergedManagers, ANullOneIsReported)
{
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    std::vector<std::string> messages;
    const OdAssertSink before =
        odSetAssertSink([&](OdAssertReport const& report) { messages.push_back(report.message); });
    manager(OdDb::kForWrite)
        ->mergeManagers(nullptr, *mapping, ZemDbReverseIdMapping(*mapping), m_changed);
    odSetAssertSink(before);
    EXPECT_EQ(messages, std::vector<std::string>{"mergeManagers : Constraint manager is NULL"});
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
}

TEST_F(MergedManagers, OneWithItselfStaysAsItIs)
{
    (void)objectId();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    const ManagerPtr opened = manager(OdDb::kForWrite);
    opened->mergeManagers(opened.get(), *mapping, ZemDbReverseIdMapping(*mapping), m_changed);
    EXPECT_EQ(opened->zemDbObjects().size(), 1u);
    EXPECT_FALSE(m_managerId.isErased());
}

TEST_F(MergedManagers, TakeModelObjectsWhoseEntityIsInTheBlock)
{
    const OdDbObjectId stray = strayObject(m_line);
    merge();
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{stray});
    EXPECT_EQ(stray.openObject()->ownerId(), m_managerId);
    EXPECT_EQ(objectId(), stray);
    EXPECT_TRUE(m_sourceId.isErased());
    EXPECT_TRUE(source()->zemDbObjects().isEmpty());
    EXPECT_TRUE(m_changed.empty());
}

TEST_F(MergedManagers, LeaveModelObjectsOfOtherBlocksAndOfErasedEntities)
{
    const OdDbObjectId elsewhere = strayObject(addLine(m_sourceBlock));
    const OdDbObjectId stray = strayObject(m_line);
    const OdDbObjectId kept = ObjectPtr(stray.openObject())->objectId();
    m_line.openObject(OdDb::kForWrite)->removePersistentReactor(stray);
    erase(m_line);
    merge();
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_EQ(elsewhere.openObject()->ownerId(), m_sourceId);
    EXPECT_EQ(kept.openObject()->ownerId(), m_sourceId);
}

TEST_F(MergedManagers, LeaveAModelObjectWhoseEntityHasAnother)
{
    const OdDbObjectId own = objectId();
    const ObjectPtr second = odrxMake<ZemDbObject>();
    const OdDbObjectId secondId = m_database->addOdDbObject(second.get(), m_sourceId);
    source(OdDb::kForWrite)->registerZemDbObject(second.get());
    second->attachTo(m_line);
    merge();
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{own});
    EXPECT_EQ(secondId.openObject()->ownerId(), m_sourceId);
}

TEST_F(MergedManagers, TellOfModelObjectsWhoseEntitiesAreClones)
{
    const OdDbObjectId original = addLine(m_sourceBlock);
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    m_database->deepCloneObjects({original}, m_block, *mapping);
    OdDbIdPair pair(original);
    ASSERT_TRUE(mapping->compute(pair));
    const OdDbObjectId clone = strayObject(pair.value());
    const OdDbObjectId plain = strayObject(m_line);
    clone.openObject(OdDb::kForWrite)->addPersistentReactor(original);
    clone.openObject(OdDb::kForWrite)->addPersistentReactor(m_other);
    merge(*mapping);
    EXPECT_EQ(manager()->zemDbObjects().size(), 2u);
    EXPECT_EQ(m_changed.size(), 1u);
    EXPECT_EQ(m_changed.count(clone), 1u);
    EXPECT_EQ(m_changed.count(plain), 0u);
    EXPECT_EQ(clone.openObject()->getPersistentReactors(), OdDbObjectIdArray{m_other});
}

TEST_F(MergedManagers, TellTheTargetOfWatchedEntities)
{
    setStatus(kCmUpToDate);
    ObjectPtr(strayObject(m_line).openObject(OdDb::kForWrite))->append(face(m_line, 1));
    merge();
    EXPECT_EQ(modified(), OdDbObjectIdArray{m_line});
}

TEST_F(MergedManagers, NameModelObjectsApart)
{
    (void)objectId();
    const OdDbObjectId stray = strayObject(m_other);
    EXPECT_EQ(ObjectPtr(stray.openObject())->name(), object()->name());
    merge();
    EXPECT_EQ(object()->name(), OdString(L"Line_1"));
    EXPECT_EQ(ObjectPtr(stray.openObject())->name(), OdString(L"Line_3"));
}

TEST_F(MergedManagers, TakeConstraintsWhoseLinksTheyTook)
{
    const OdDbObjectId variable = addVariable(L"a");
    const OdDbObjectId formerReactor = source(OdDb::kForWrite)->variableReactor(true);
    variable.openObject(OdDb::kForWrite)->addPersistentReactor(formerReactor);
    const ConstraintPtr taken = newConstraint();
    const ConstraintPtr left = newConstraint();
    (void)addConstraint();
    source(OdDb::kForWrite)->addConstraint(taken);
    source(OdDb::kForWrite)->addConstraint(left);
    taken->setDependencies(zemu::createConstrDependencies(m_sourceId, {argument(1)}));
    follow(taken, variable);
    ZemExtendedPath elsewhere;
    elsewhere.path = face(addLine(m_sourceBlock), 1);
    left->setDependencies(zemu::createConstrDependencies(m_sourceId, {argument(2), elsewhere}));
    merge();
    EXPECT_EQ(manager()->constraintsCount(), 2u);
    EXPECT_EQ(manager()->getConstraintByNodeId(2), taken);
    EXPECT_EQ(taken->owner(), m_managerId);
    EXPECT_FALSE(variable.openObject()->hasPersistentReactor(formerReactor));
    EXPECT_TRUE(variable.openObject()->hasPersistentReactor(manager()->variableReactor(false)));
}

TEST_F(MergedManagers, LoseNothingWhenTheyBreakOffHalfWay)
{
    const OdDbObjectId first = strayObject(m_line);
    const OdDbObjectId second = strayObject(m_other);
    const ConstraintPtr full = addConstraint();
    full->setNodeId(1);
    std::vector<ConstraintPtr> constraints;
    for (int at = 0; at < 3; ++at) {
        constraints.push_back(newConstraint());
        source(OdDb::kForWrite)->addConstraint(constraints.back());
    }
    // The greatest number there is lets one more constraint in, and no other.
    {
        const ManagerPtr opened = manager(OdDb::kForWrite);
        full->setNodeId(std::numeric_limits<std::uint32_t>::max() - 1);
        const Blob data = filed(*opened);
        ASSERT_EQ(readInto(*opened, data, m_database.get()), kOdOk);
    }
    EXPECT_EQ(thrownCode([&] { merge(); }), kOdInvalidInput);
    EXPECT_EQ(manager()->zemDbObjects(), (OdDbObjectIdArray{first, second}));
    EXPECT_TRUE(source()->zemDbObjects().isEmpty());
    EXPECT_EQ(manager()->constraintsCount(), 2u);
    EXPECT_EQ(constraints[0]->owner(), m_managerId);
    EXPECT_FALSE(m_sourceId.isErased());
    ASSERT_EQ(source()->constraintsCount(), 2u);
    EXPECT_EQ(source()->getConstraintByNodeId(2), constraints[1]);
    EXPECT_EQ(source()->getConstraintByNodeId(3), constraints[2]);
    EXPECT_EQ(constraints[1]->owner(), m_sourceId);
}

TEST_F(MergedManagers, ComeApartByUndo)
{
    const OdDbObjectId stray = strayObject(m_line);
    source(OdDb::kForWrite)->addConstraint(newConstraint());
    m_database->startUndoRecord();
    merge();
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(m_sourceId.isErased());
    EXPECT_EQ(source()->zemDbObjects(), OdDbObjectIdArray{stray});
    EXPECT_EQ(source()->constraintsCount(), 1u);
    EXPECT_TRUE(manager()->zemDbObjects().isEmpty());
    EXPECT_EQ(manager()->constraintsCount(), 0u);
    EXPECT_EQ(stray.openObject()->ownerId(), m_sourceId);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{stray});
    EXPECT_TRUE(m_sourceId.isErased());
}

TEST_F(ConstraintManager, AuditErasesModelObjectsOfNoEntity)
{
    const OdDbObjectId sound = objectId();
    const ObjectPtr lone = odrxMake<ZemDbObject>();
    const OdDbObjectId loneId = m_database->addOdDbObject(lone.get(), m_managerId);
    manager(OdDb::kForWrite)->registerZemDbObject(lone.get());
    const OdDbObjectId link = lone->append(face(m_line, 1));
    std::vector<std::string> messages;
    const OdAssertSink before =
        odSetAssertSink([&](OdAssertReport const& report) { messages.push_back(report.message); });
    manager(OdDb::kForWrite)->audit();
    odSetAssertSink(before);
    EXPECT_EQ(messages, std::vector<std::string>{"pZemObj->attachedEntityId() = NULL"});
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{sound});
    EXPECT_TRUE(loneId.isErased());
    EXPECT_TRUE(link.isErased());
    EXPECT_FALSE(sound.isErased());
}

TEST_F(ConstraintManager, AuditIsUndone)
{
    const ObjectPtr lone = odrxMake<ZemDbObject>();
    const OdDbObjectId loneId = m_database->addOdDbObject(lone.get(), m_managerId);
    manager(OdDb::kForWrite)->registerZemDbObject(lone.get());
    m_database->startUndoRecord();
    manager(OdDb::kForWrite)->audit();
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(loneId.isErased());
    EXPECT_EQ(manager()->zemDbObjects(), OdDbObjectIdArray{loneId});
}

//--------------------------------------------------------------------------------------------------
// Stored form

namespace {

Blob baseFields(int owner)
{
    return bytes({
        0, 0, 0, 0,  // reactors
        3, 0,        // extension dictionary: none, owned
        0, 0, 0, 0,  // extended data
        0, owner,    // owner
    });
}

const Blob kLists = bytes({
    2, 0,                          // version
    2, 0, 0, 0, 3, 0x71, 3, 0x72,  // model objects, owned
    1, 0, 0, 0, 3, 0x73,           // further owned objects
    1, 0, 0, 0, 0, 0x74,           // managers of blocks, soft
});

/// A constraint of kind 2 with one link and a number.
Blob constraint(int nodeId)
{
    return bytes({
        15,  0,   'Z', 'e', 'm', 'D',  'b',  'C',  'o', 'n',    's', 't', 'r',
        'a', 'i', 'n', 't',                                                   // class
        3,   0,                                                               // version
        2,   0,   'd', '1',                                                   // name
        2,   0,   0,   0,                                                     // kind
        7,   0,   0,   0,                                                     // auxiliary value
        0,   0,   0,   0,   0,   0,    0xF8, 0x3F,                            // value 1.5
        1,   0,   0,   0,   0,   0x75,                                        // links
        0,   0,                                                               // null
        1,                                                                    // enabled
        1,   0,   0,   0,                                                     // bag:
        6,   0,   'n', 'o', 'd', 'e',  'I',  'd',  3,   nodeId, 0,   0,   0,  //   number
    });
}

const Blob kBag = bytes({
    1,   0,   0,   0,                                                      // items
    20,  0,   'D', 'e', 's', 'i', 'g', 'n', 'I', 'n', 't', 'e', 'n', 't',  // design intent
    'S', 'e', 't', 't', 'i', 'n', 'g', 's',                                //
    2,   4,   0,   'n', 'u', 'l', 'l',                                     //   text
});

Blob count(int number)
{
    return bytes({number, 0, 0, 0});
}

const Blob kCurrent = baseFields(0) + kLists + count(2) + constraint(1) + constraint(4) + kBag;

class StoredManager : public ConstraintManager
{
protected:
    OdDbObjectId idOf(int handle)
    {
        return m_database->getOdDbObjectId(OdDbHandle(static_cast<std::uint64_t>(handle)),
                                           /*create=*/true);
    }
    ManagerPtr readNew(Blob const& data, OdResult expected = kOdOk)
    {
        ManagerPtr read = odrxMake<ZemDbConstraintManager>();
        EXPECT_EQ(readInto(*read, data, m_database.get()), expected);
        return read;
    }
    std::vector<std::uint32_t> numbersOf(Blob const& constraints, int number)
    {
        const ManagerPtr read =
            readNew(baseFields(0) + kLists + count(number) + constraints + kBag);
        std::vector<std::uint32_t> numbers;
        for (auto const& [nodeId, constraint] : read->constraints()) {
            EXPECT_EQ(constraint->nodeId(), nodeId);
            numbers.push_back(nodeId);
        }
        return numbers;
    }
};

}  // namespace

TEST_F(StoredManager, ReadsTheCurrentForm)
{
    const ManagerPtr read = readNew(kCurrent);
    EXPECT_EQ(read->zemDbObjects(), (OdDbObjectIdArray{idOf(0x71), idOf(0x72)}));
    EXPECT_EQ(read->getAllConstraintManagers(), OdDbObjectIdArray{idOf(0x74)});
    ASSERT_EQ(read->constraintsCount(), 2u);
    const ConstraintPtr second = read->getConstraintByNodeId(4);
    ASSERT_FALSE(second.isNull());
    EXPECT_EQ(second->name(), OdString(L"d1"));
    EXPECT_EQ(second->type(), 2);
    EXPECT_EQ(second->userValue(), 1.5);
    EXPECT_TRUE(second->isEnabled());
    EXPECT_EQ(second->dependencies().front().id, idOf(0x75));
    EXPECT_EQ(read->getDesignIntentOptions(), OdString(L"null"));
    EXPECT_EQ(read->getStatus(), 3);
}

TEST_F(StoredManager, WritesTheCurrentFormByteForByte)
{
    EXPECT_EQ(filed(*readNew(kCurrent)), kCurrent);
}

TEST_F(StoredManager, HasAnEmptyDesignIntentWithoutOneInTheStream)
{
    const ManagerPtr read = readNew(baseFields(0) + kLists + count(0) + count(0));
    EXPECT_TRUE(read->getDesignIntentOptions().isEmpty());
}

TEST_F(StoredManager, TakesFormsUpToItsOwn)
{
    for (int version : {0, 1}) {
        Blob older = kCurrent;
        older[baseFields(0).size()] = static_cast<char>(version);
        EXPECT_EQ(filed(*readNew(older)), kCurrent);
    }
}

TEST_F(StoredManager, RefusesANewerForm)
{
    Blob newer = kCurrent;
    newer[baseFields(0).size()] = 3;
    const ManagerPtr read = readNew(newer, kOdBadStream);
    EXPECT_TRUE(read->zemDbObjects().isEmpty());
}

TEST_F(StoredManager, FilesAMarkAnywhereButInDrawings)
{
    const ManagerPtr read = readNew(kCurrent);
    const Blob marked = kCurrent + bytes({0, 0});
    for (OdDb::FilerType type :
         {OdDb::FilerType::kCopyFiler, OdDb::FilerType::kDeepCloneFiler,
          OdDb::FilerType::kWblockCloneFiler, OdDb::FilerType::kIdXlateFiler}) {
        EXPECT_EQ(filed(*read, type), marked) << static_cast<int>(type);
    }
    const ManagerPtr copy = odrxMake<ZemDbConstraintManager>();
    EXPECT_EQ(
        readInto(*copy, kCurrent + bytes({1, 0}), m_database.get(), OdDb::FilerType::kCopyFiler),
        kOdMessage);
}

TEST_F(StoredManager, FilesItsStateForUndoAndPagingAlone)
{
    const ManagerPtr read = readNew(kCurrent);
    read->setStatus(kCmObjectsModified);
    read->notifyAboutModifications(idOf(0x77), true);
    read->notifyAboutModifications(idOf(0x76), true);
    const Blob state = bytes({
        2, 0, 0, 0,                    // status
        2, 0, 0, 0, 0, 0x76, 0, 0x77,  // modified entities, soft
        0, 0,                          // mark
    });
    for (OdDb::FilerType type : {OdDb::FilerType::kUndoFiler, OdDb::FilerType::kPageFiler}) {
        EXPECT_EQ(filed(*read, type), kCurrent + state) << static_cast<int>(type);
        const ManagerPtr copy = odrxMake<ZemDbConstraintManager>();
        EXPECT_EQ(readInto(*copy, kCurrent + state, m_database.get(), type), kOdOk);
        EXPECT_EQ(copy->getStatus(), 2);
        EXPECT_EQ(copy->getModifiedObjects(), (OdDbObjectIdArray{idOf(0x76), idOf(0x77)}));
    }
    EXPECT_EQ(filed(*read), kCurrent);
}

TEST_F(StoredManager, GivesNumbersThatDontAscendTheNextOne)
{
    EXPECT_EQ(numbersOf(constraint(3) + constraint(3) + constraint(1), 3),
              (std::vector<std::uint32_t>{3, 4, 5}));
    EXPECT_EQ(numbersOf(constraint(0) + constraint(9), 2), (std::vector<std::uint32_t>{1, 9}));
}

TEST_F(StoredManager, RefusesAnotherNumberAboveTheGreatestThereIs)
{
    Blob last = constraint(0);
    std::fill(last.end() - 4, last.end(), static_cast<char>(0xFF));
    (void)readNew(baseFields(0) + kLists + count(2) + last + constraint(1) + kBag, kOdInvalidInput);
    const ManagerPtr read = readNew(baseFields(0) + kLists + count(1) + last + kBag);
    EXPECT_EQ(read->getConstraintByNodeId(std::numeric_limits<std::uint32_t>::max())->nodeId(),
              std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(thrownCode([&] { read->addConstraint(newConstraint()); }), kOdInvalidInput);
    EXPECT_EQ(read->constraintsCount(), 1u);
}

TEST_F(StoredManager, RefusesConstraintsOfUnknownAndOfOtherClasses)
{
    const Blob unknown = bytes({1, 0, 'x'}) + bytes({0, 0, 0, 0, 0, 0, 0, 0});
    (void)readNew(baseFields(0) + kLists + count(1) + unknown, kOdClassNotRegistered);
    const Blob other = bytes({11, 0, 'O', 'd', 'D', 'b', 'X', 'r', 'e', 'c', 'o', 'r', 'd'}) +
                       bytes({0, 0, 0, 0, 0, 0, 0, 0});
    (void)readNew(baseFields(0) + kLists + count(1) + other, kOdNotThatKindOfClass);
}

TEST_F(StoredManager, EndsReadingWithTheResultOfAConstraintOrOfTheBag)
{
    Blob newer = constraint(1);
    newer[17] = 4;
    (void)readNew(baseFields(0) + kLists + count(1) + newer + kBag, kOdBadStream);
    const Blob newerBag = bytes({1, 0, 0, 0, 4, 0, '_', 'v', 'e', 'r', 6, 2});
    (void)readNew(baseFields(0) + kLists + count(0) + newerBag, kOdRejectedVersion);
}

TEST_F(StoredManager, RefusesAStreamCutAtEveryByte)
{
    for (std::size_t length = 0; length < kCurrent.size(); ++length) {
        const Blob cut(kCurrent.begin(), kCurrent.begin() + static_cast<std::ptrdiff_t>(length));
        const ManagerPtr read = odrxMake<ZemDbConstraintManager>();
        EXPECT_EQ(readInto(*read, cut, m_database.get()), kOdBadStream) << length;
    }
}

TEST_F(StoredManager, AnswersEveryFlippedBitWithAResult)
{
    for (std::size_t bit = 0; bit < 8 * kCurrent.size(); ++bit) {
        Blob damaged = kCurrent;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        const ManagerPtr read = odrxMake<ZemDbConstraintManager>();
        const OdResult result = readInto(*read, damaged, m_database.get());
        EXPECT_TRUE(result == kOdOk || result == kOdBadStream || result == kOdRejectedVersion ||
                    result == kOdClassNotRegistered || result == kOdNotThatKindOfClass ||
                    result == kOdInvalidInput)
            << "bit " << bit << ": " << result;
        (void)filed(*read);
    }
}

TEST_F(StoredManager, RefusesCountsThatTheStreamCantHold)
{
    const Blob huge = bytes({0xFF, 0xFF, 0xFF, 0x7F});
    const Blob negative = bytes({0xFF, 0xFF, 0xFF, 0xFF});
    for (Blob const& bad : {huge, negative}) {
        (void)readNew(baseFields(0) + bytes({2, 0}) + bad, kOdBadStream);
        (void)readNew(baseFields(0) + bytes({2, 0}) + count(0) + bad, kOdBadStream);
        (void)readNew(baseFields(0) + bytes({2, 0}) + count(0) + count(0) + bad, kOdBadStream);
        (void)readNew(baseFields(0) + kLists + bad, kOdBadStream);
    }
    Blob links = constraint(1);
    std::copy(huge.begin(), huge.end(), links.begin() + 39);
    (void)readNew(baseFields(0) + kLists + count(1) + links + kBag, kOdBadStream);
    HandleFiler undo(m_database.get(), OdDb::FilerType::kUndoFiler);
    const ManagerPtr read = odrxMake<ZemDbConstraintManager>();
    EXPECT_EQ(
        readInto(*read, kCurrent + count(2) + huge, m_database.get(), OdDb::FilerType::kUndoFiler),
        kOdBadStream);
}

TEST_F(StoredManager, ReadingReplacesAllThatItHad)
{
    (void)objectId();
    (void)addConstraint();
    fillTcCache();
    const ManagerPtr opened = manager(OdDb::kForWrite);
    EXPECT_EQ(readInto(*opened, kCurrent, m_database.get()), kOdOk);
    EXPECT_EQ(opened->zemDbObjects().size(), 2u);
    EXPECT_EQ(opened->constraintsCount(), 2u);
    EXPECT_EQ(opened->getConstraintByNodeId(1)->owner(), m_managerId);
    EXPECT_TRUE(opened->tcCache().objects.empty());
    EXPECT_EQ(opened->generateZemDbObjectName(L"Line"), OdString(L"Line_3"));
}

TEST_F(StoredManager, ComesBackFromADrawing)
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("zem_manager_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const OdString path = OdString::fromUtf8((folder / "manager.zdw").string());
    const ConstraintPtr constraint = addConstraint();
    constraint->setType(2);
    constraint->setDependencies(zemu::createConstrDependencies(m_managerId, {argument(1)}));
    manager(OdDb::kForWrite)->variableReactor(true);
    manager(OdDb::kForWrite)->setDesignIntentOptions(L"intent");
    const Blob before = filed(*manager());
    odDbSaveDrawingAs(*m_database, path);
    {
        const OdDbDatabasePtr opened = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading);
        const OdDbObjectId id =
            ZemDbConstraintManager::getInstance(opened->getModelSpaceId(), false);
        const ManagerPtr read = id.openObject();
        ASSERT_FALSE(read.isNull());
        EXPECT_EQ(filed(*read), before);
        EXPECT_EQ(read->getStatus(), 3);
        EXPECT_EQ(read->getDesignIntentOptions(), OdString(L"intent"));
        EXPECT_FALSE(read->variableReactor(false).isNull());
        ASSERT_EQ(read->constraintsCount(), 1u);
        EXPECT_TRUE(read->getConstraintByNodeId(1)->isValid());
        EXPECT_EQ(read->getConstraintByNodeId(1)->owner(), id);
        const ManagerPtr root = ZemDbConstraintManager::getRootCM(opened.get(), false).openObject();
        EXPECT_EQ(root->getAllConstraintManagers(), OdDbObjectIdArray{id});
    }
    m_database.release();
    std::filesystem::remove_all(folder);
}
