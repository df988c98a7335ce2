#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_viewport.h"
#include "root/od_assert.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_db_database_transaction.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Whether scopes work with an undo mark.
class Scopes : public testing::TestWithParam<bool>
{
protected:
    OdDbObjectId appendLine()
    {
        return OdDbBlockTableRecordPtr(m_database->getModelSpaceId().openObject(OdDb::kForWrite))
            ->appendOdDbEntity(OdDbLine::createObject().get());
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
};

}  // namespace

TEST_P(Scopes, AreTakenBackUnlessTheyAreKept)
{
    OdDbObjectId lost;
    OdDbObjectId kept;
    {
        ZemDbDatabaseTransaction scope(m_database.get(), false, GetParam());
        lost = appendLine();
    }
    {
        ZemDbDatabaseTransaction scope(m_database.get(), false, GetParam());
        kept = appendLine();
        scope.setNoAbort();
    }
    EXPECT_TRUE(lost.isErased());
    EXPECT_FALSE(kept.isErased());
    EXPECT_EQ(m_database->numActiveTransactions(), 0);
}

TEST_P(Scopes, AreTakenBackByAnException)
{
    OdDbObjectId line;
    try {
        ZemDbDatabaseTransaction scope(m_database.get(), true, GetParam());
        line = appendLine();
        throw std::runtime_error("stop");
    } catch (std::runtime_error const&) {
        EXPECT_TRUE(line.isErased());
    }
    EXPECT_EQ(m_database->numActiveTransactions(), 0);
}

TEST_P(Scopes, Nest)
{
    OdDbObjectId outer;
    OdDbObjectId inner;
    {
        ZemDbDatabaseTransaction outerScope(m_database.get(), false, GetParam());
        outer = appendLine();
        {
            ZemDbDatabaseTransaction innerScope(m_database.get(), false, GetParam());
            inner = appendLine();
        }
        EXPECT_TRUE(inner.isErased());
        EXPECT_FALSE(outer.isErased());
        outerScope.setNoAbort();
    }
    EXPECT_FALSE(outer.isErased());
}

TEST_P(Scopes, ThatWereKeptGoWithTheOuterOne)
{
    OdDbObjectId outer;
    OdDbObjectId inner;
    {
        ZemDbDatabaseTransaction outerScope(m_database.get(), false, GetParam());
        outer = appendLine();
        {
            ZemDbDatabaseTransaction innerScope(m_database.get(), false, GetParam());
            inner = appendLine();
            innerScope.setNoAbort();
        }
        EXPECT_FALSE(inner.isErased());
    }
    EXPECT_TRUE(inner.isErased());
    EXPECT_TRUE(outer.isErased());
    EXPECT_EQ(m_database->numActiveTransactions(), 0);
    EXPECT_EQ(m_database->numUndoMarks(), 0U);
}

TEST_P(Scopes, TakeBackTransactionsThatWereLeftOpenInThem)
{
    OdDbObjectId line;
    {
        ZemDbDatabaseTransaction scope(m_database.get(), false, GetParam());
        m_database->startTransaction();
        line = appendLine();
    }
    EXPECT_TRUE(line.isErased());
    EXPECT_EQ(m_database->numActiveTransactions(), 0);
}

TEST_P(Scopes, DoNotTakeBackWhatWasBeforeThem)
{
    m_database->startUndoRecord();
    m_database->startTransaction();
    const OdDbObjectId before = appendLine();
    int reports = 0;
    const OdAssertSink sink = odSetAssertSink([&reports](OdAssertReport const&) { ++reports; });
    {
        ZemDbDatabaseTransaction scope(m_database.get(), false, GetParam());
        if (GetParam()) {
            EXPECT_EQ(m_database->undo(), kOdOk);
        } else {
            m_database->endTransaction();
        }
    }
    odSetAssertSink(sink);
    EXPECT_EQ(reports, 1);
    EXPECT_FALSE(before.isErased());
    EXPECT_EQ(m_database->numActiveTransactions(), 1);
    EXPECT_EQ(m_database->numUndoMarks(), 1U);
    m_database->endTransaction();
}

TEST_P(Scopes, ForgetAnActiveViewportThatWasMadeInThem)
{
    {
        ZemDbDatabaseTransaction scope(m_database.get(), true, GetParam());
        m_database->setActiveViewportId(
            OdDbBlockTableRecordPtr(m_database->getPaperSpaceId().openObject(OdDb::kForWrite))
                ->appendOdDbEntity(OdDbViewport::createObject().get()));
    }
    EXPECT_TRUE(m_database->activeViewportId().isNull());
}

TEST_P(Scopes, KeepTheActiveViewportIfAskedTo)
{
    const OdDbBlockTableRecordPtr paper = m_database->getPaperSpaceId().openObject(OdDb::kForWrite);
    const OdDbObjectId first = paper->appendOdDbEntity(OdDbViewport::createObject().get());
    const OdDbObjectId second = paper->appendOdDbEntity(OdDbViewport::createObject().get());
    for (bool keeps : {false, true}) {
        m_database->setActiveViewportId(first);
        {
            ZemDbDatabaseTransaction scope(m_database.get(), keeps, GetParam());
            m_database->setActiveViewportId(second);
        }
        EXPECT_EQ(m_database->activeViewportId(), keeps ? second : first);
    }
}

TEST_P(Scopes, WithoutADatabaseHaveNoEffect)
{
    ZemDbDatabaseTransaction scope(nullptr, true, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Either, Scopes, testing::Bool(), [](auto const& way) {
    return way.param ? "WithUndo" : "WithTransaction";
});

TEST_F(Scopes, KeptWithUndoAreOneStepForTheUser)
{
    OdDbObjectId line;
    {
        ZemDbDatabaseTransaction scope(m_database.get(), false, /*useUndo=*/true);
        line = appendLine();
        appendLine();
        scope.setNoAbort();
    }
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(line.isErased());
    EXPECT_FALSE(m_database->hasUndo());
}

TEST_F(Scopes, TakenBackWithUndoLeaveNothingToRedo)
{
    {
        ZemDbDatabaseTransaction scope(m_database.get(), false, /*useUndo=*/true);
        appendLine();
    }
    EXPECT_FALSE(m_database->hasRedo());
    EXPECT_TRUE(m_database->undoRecording());
}

TEST_F(Scopes, ThatCanNotBeTakenBackAreReported)
{
    std::vector<std::string> reports;
    const OdAssertSink before = odSetAssertSink(
        [&reports](OdAssertReport const& report) { reports.emplace_back(report.expression); });
    {
        ZemDbDatabaseTransaction withUndo(m_database.get(), false, /*useUndo=*/true);
        m_database->clearUndo();
    }
    {
        ZemDbDatabaseTransaction plain(m_database.get(), false, /*useUndo=*/false);
        m_database->endTransaction();
    }
    odSetAssertSink(before);
    EXPECT_EQ(reports, (std::vector<std::string>{"eOk == res", "false"}));
}

TEST_F(Scopes, AnEntityGetsItsPropertiesBack)
{
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(L"other");
    const OdDbObjectId layerId =
        OdDbSymbolTablePtr(m_database->getLayerTableId().openObject(OdDb::kForWrite))
            ->add(layer.get());
    const OdDbLinePtr line = appendLine().openObject(OdDb::kForWrite);
    {
        const zemu::AutoSaveSolidProperties saved(line);
        line->setLayer(layerId);
        line->setLinetypeScale(5);
        line->setEndPoint(OdGePoint3d(1, 2, 3));
    }
    EXPECT_EQ(line->layerId(), m_database->getLayerZeroId());
    EXPECT_EQ(line->linetypeScale(), 1.0);
    EXPECT_EQ(line->endPoint(), OdGePoint3d(1, 2, 3));
    const zemu::AutoSaveSolidProperties none{OdDbEntityPtr()};
}

TEST_F(Scopes, PropertiesThatCanNotBeGivenBackEndTheProcess)
{
    const OdDbLinePtr line = appendLine().openObject();
    EXPECT_DEATH({ const zemu::AutoSaveSolidProperties saved(line); }, "");
}
