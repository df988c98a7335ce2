// Entities under callers and drawings that mean no good: numbers at the ends of their range, ids of
// other drawings, nesting without end, loops and patterns by the million.

#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_simple_tables.h"
#include "ge/od_ge_circ_arc3d.h"
#include "ge/od_ge_ellip_arc3d.h"
#include "support/entity_samples.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

using namespace dbtest;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kFullTurn = 2.0 * std::numbers::pi;

class HostileEntities : public DatabaseTest
{
protected:
    static OdDbBlockTableRecordPtr writeBlock(OdDbObjectId id)
    {
        return id.safeOpenObject(OdDb::kForWrite);
    }
    OdDbBlockTableRecordPtr modelSpace(OdDbDatabase& db) const
    {
        return writeBlock(db.getModelSpaceId());
    }
    OdDbObjectId addBlock(OdString const& name)
    {
        const OdDbBlockTablePtr table = m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return table->add(block.get());
    }
    OdDbObjectId addReference(OdDbObjectId owner, OdDbObjectId block,
                              OdGePoint3d const& position = OdGePoint3d())
    {
        return writeBlock(owner)->appendOdDbEntity(
            OdDbBlockReference::createObject(block, position).get());
    }
    void addLine(OdDbObjectId block, OdGePoint3d const& end)
    {
        const OdDbLinePtr line = OdDbLine::createObject();
        line->setEndPoint(end);
        writeBlock(block)->appendOdDbEntity(line.get());
    }
    /// Blocks that each show the one before. \return A reference to the outermost.
    OdDbBlockReferencePtr chainOf(int levels)
    {
        OdDbObjectId below = addBlock(L"ground");
        addLine(below, OdGePoint3d(1, 2, 3));
        for (int level = 0; level < levels; ++level) {
            OdString name;
            name.format(L"level %d", level);
            const OdDbObjectId block = addBlock(name);
            addReference(block, below, OdGePoint3d(1, 0, 0));
            below = block;
        }
        return addReference(m_db->getModelSpaceId(), below).safeOpenObject();
    }
    static OdDbHatchPtr squareHatch(double half)
    {
        const OdDbHatchPtr hatch = OdDbHatch::createObject();
        hatch->appendLoop(square(half));
        return hatch;
    }
    static OdDbHatchLoop square(double half, OdGePoint2d const& center = {})
    {
        OdDbHatchLoop loop;
        for (OdGeVector2d const& corner : {OdGeVector2d(-half, -half), OdGeVector2d(half, -half),
                                           OdGeVector2d(half, half), OdGeVector2d(-half, half)}) {
            loop.vertices.append({center + corner, 0.0, 0.0, 0.0});
        }
        return loop;
    }
    static OdArray<OdDbHatchPatternLine> only(OdDbHatchPatternLine const& line)
    {
        OdArray<OdDbHatchPatternLine> lines;
        lines.append(line);
        return lines;
    }
};

/// Reads what the entity files, as a drawing will; true if that gives the same entity.
bool canBeReadAgain(OdDbEntity const& entity)
{
    const auto bytes = bytesOf(entity);
    const OdDbEntityPtr copy = OdRxObjectPtr(entity.isA()->create());
    OdStaticRxObject<OdDbMemoryFiler> filer;
    filer.readFrom(bytes);
    return copy->dwgInFields(&filer) == kOdOk && bytesOf(*copy) == bytes;
}

// ---------------------------------------------------------------------------------------------
// Numbers

TEST_F(HostileEntities, CanBeReadAgainWhateverTheyWereMovedBy)
{
    OdGeMatrix3d shear;
    shear(0, 1) = 0.7;
    const OdGeMatrix3d kMatrices[] = {
        OdGeMatrix3d::scaling(1e10),
        OdGeMatrix3d::scaling(1e-10),
        OdGeMatrix3d::scaling(1e90),
        OdGeMatrix3d::scaling(1e-90),
        OdGeMatrix3d::scaling(-1e150),
        OdGeMatrix3d::scaling(1e-150),
        OdGeMatrix3d::scaling(1e300),
        OdGeMatrix3d::scaling(5e-324),
        OdGeMatrix3d::translation(OdGeVector3d(1e308, -1e308, 1e308)),
        OdGeMatrix3d::scaling(OdGeScale3d(1e-5, 1e5, 1.0)),
        OdGeMatrix3d::scaling(OdGeScale3d(1e100, 1.0, 1e-100)),
        shear,
    };
    for (EntitySample const& sample : sampleEntities(*m_db)) {
        for (OdGeMatrix3d const& matrix : kMatrices) {
            const OdDbEntityPtr moved = OdRxObjectPtr(sample.entity->clone());
            for (int time = 0; time < 4; ++time) {
                const auto before = bytesOf(*moved);
                if (moved->transformBy(matrix) != kOdOk) {
                    EXPECT_EQ(bytesOf(*moved), before) << sample.name;
                }
                EXPECT_TRUE(canBeReadAgain(*moved))
                    << sample.name << " by " << matrix(0, 0) << ", time " << time;
                OdGeExtents3d extents;
                if (moved->getGeomExtents(extents) == kOdOk) {
                    EXPECT_TRUE(std::isfinite(extents.minPoint().x + extents.minPoint().y +
                                              extents.minPoint().z))
                        << sample.name;
                    EXPECT_TRUE(extents.isValidExtents()) << sample.name;
                }
            }
        }
    }
}

TEST_F(HostileEntities, RefuseAMoveThatMakesTheirThicknessEndless)
{
    const OdGeMatrix3d big = OdGeMatrix3d::scaling(1e100);
    const auto check = [&](auto const& entity) {
        entity->setThickness(1e300);
        EXPECT_EQ(entity->transformBy(big), kOdNotApplicable);
        EXPECT_EQ(entity->thickness(), 1e300);
        EXPECT_TRUE(canBeReadAgain(*entity));
    };
    check(OdDbPoint::createObject());
    check(OdDbLine::createObject());
    check(OdDbCircle::createObject());
    check(OdDbArc::createObject());
    check(OdDbPolyline::createObject());
    check(OdDb2dPolyline::createObject());
    check(OdDbText::createObject());
}

TEST_F(HostileEntities, HaveNoExtentsThatAreEndless)
{
    const OdDbCirclePtr circle = OdDbCircle::createObject();
    circle->setCenter(OdGePoint3d(1e308, 0, 0));
    circle->setRadius(1.5e308);
    const OdDbTextPtr text = OdDbText::createObject();
    text->setTextString(L"long");
    text->setHeight(1e308);
    const OdDbMTextPtr several = OdDbMText::createObject();
    several->setContents(L"long");
    several->setTextHeight(1e308);
    const OdDbLinePtr line = OdDbLine::createObject();
    line->setStartPoint(OdGePoint3d(0, 0, 1.5e308));
    line->setThickness(1e308);
    const OdDbViewportPtr viewport = OdDbViewport::createObject();
    viewport->setCenterPoint(OdGePoint3d(1.7e308, 0, 0));
    viewport->setWidth(1.7e308);
    const OdGeExtents3d before(OdGePoint3d(1, 1, 1), OdGePoint3d(2, 2, 2));
    for (OdDbEntity* entity : std::initializer_list<OdDbEntity*>{
             circle.get(), text.get(), several.get(), line.get(), viewport.get()}) {
        OdGeExtents3d extents = before;
        EXPECT_EQ(entity->getGeomExtents(extents), kOdNotApplicable);
        EXPECT_EQ(extents, before);
    }
}

TEST_F(HostileEntities, KeepAnglesBelowAFullTurn)
{
    const OdDbArcPtr arc = OdDbArc::createObject();
    for (double angle : {-1e-20, -5e-324, -0.0, kFullTurn, -kFullTurn, 1e300, -1e300}) {
        arc->setStartAngle(angle);
        EXPECT_GE(arc->startAngle(), 0.0) << angle;
        EXPECT_LT(arc->startAngle(), kFullTurn) << angle;
        EXPECT_FALSE(std::signbit(arc->startAngle())) << angle;
    }
    const OdDbTextPtr text = OdDbText::createObject();
    text->setRotation(-1e-30);
    EXPECT_EQ(text->rotation(), 0.0);
    const OdDbRotatedDimensionPtr dimension = OdDbRotatedDimension::createObject();
    dimension->setRotation(-1e-30);
    EXPECT_EQ(dimension->rotation(), 0.0);
}

TEST_F(HostileEntities, OfTinySizeKeepTheDirectionOfTheirAxes)
{
    const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
    ellipse->set(OdGePoint3d(), OdGeVector3d::kZAxis, OdGeVector3d(0.0, 1e-15, 0.0), 0.5);
    std::unique_ptr<OdGeCurve3d> curve;
    ASSERT_EQ(ellipse->getOdGeCurve(curve), kOdOk);
    EXPECT_EQ(curve->startPoint(), OdGePoint3d(0.0, 1e-15, 0.0));
    ASSERT_EQ(ellipse->transformBy(OdGeMatrix3d::scaling(1e15)), kOdOk);
    EXPECT_TRUE(ellipse->majorAxis().isEqualTo(OdGeVector3d::kYAxis));
    ASSERT_EQ(ellipse->transformBy(OdGeMatrix3d::scaling(1e-40)), kOdOk);
    EXPECT_NEAR(ellipse->majorAxis().length() * 1e40, 1.0, 1e-12);
}

TEST_F(HostileEntities, TakeNoCurveWhoseNumbersAreNoNumbers)
{
    const OdDbArcPtr arc = OdDbArc::createObject();
    const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
    const auto arcBefore = bytesOf(*arc);
    const auto ellipseBefore = bytesOf(*ellipse);
    std::vector<OdGeCircArc3d> arcs(8);
    arcs[0].setCenter(OdGePoint3d(kNan, 0, 0));
    arcs[1].setRadius(kInf);
    arcs[2].setRadius(0.0);
    arcs[3].setRadius(-1.0);
    arcs[4].setAngles(kNan, 1.0);
    arcs[5].setAngles(0.0, kInf);
    arcs[6].setAxes(OdGeVector3d::kZAxis, OdGeVector3d(kNan, 0, 0));
    arcs[7].setAxes(OdGeVector3d(0, kInf, 1), OdGeVector3d::kXAxis);
    for (OdGeCircArc3d const& curve : arcs) {
        EXPECT_EQ(arc->setFromOdGeCurve(curve), kOdInvalidInput);
    }
    std::vector<OdGeEllipArc3d> ellipses(6);
    ellipses[0].setCenter(OdGePoint3d(0, kInf, 0));
    ellipses[1].setRadii(kNan, 1.0);
    ellipses[2].setRadii(1.0, 0.0);
    ellipses[3].setAngles(0.0, kNan);
    ellipses[4].setAxes(OdGeVector3d(kNan, 0, 0), OdGeVector3d::kYAxis);
    ellipses[5].setAxes(OdGeVector3d::kXAxis, OdGeVector3d(0, kInf, 0));
    for (OdGeEllipArc3d const& curve : ellipses) {
        EXPECT_EQ(ellipse->setFromOdGeCurve(curve), kOdInvalidInput);
    }
    for (OdGeVector3d const& normal : {OdGeVector3d(), OdGeVector3d(kNan, 0, 1),
                                       OdGeVector3d::kXAxis, OdGeVector3d(0, 0, kInf)}) {
        EXPECT_EQ(arc->setFromOdGeCurve(OdGeCircArc3d(), &normal), kOdInvalidInput);
        EXPECT_EQ(ellipse->setFromOdGeCurve(OdGeEllipArc3d(), &normal), kOdInvalidInput);
    }
    EXPECT_EQ(bytesOf(*arc), arcBefore);
    EXPECT_EQ(bytesOf(*ellipse), ellipseBefore);
}

TEST_F(HostileEntities, StandOnTolerancesOfTheirOwn)
{
    const OdGeTol before = OdGeContext::gTol;
    OdGeContext::gTol = OdGeTol(0.4);
    const OdDbCirclePtr circle = OdDbCircle::createObject();
    circle->setNormal(OdGeVector3d(0, 0, 1.25));
    const OdGeVector3d normal = circle->normal();
    const OdResult result = circle->transformBy(OdGeMatrix3d::scaling(0.25));
    OdGeContext::gTol = before;
    EXPECT_EQ(normal, OdGeVector3d::kZAxis);
    EXPECT_EQ(result, kOdOk);
    EXPECT_EQ(circle->radius(), 0.25);
}

TEST_F(HostileEntities, ABlockTakesNoOriginThatIsNoPoint)
{
    const OdDbBlockTableRecordPtr block = writeBlock(addBlock(L"B"));
    EXPECT_EQ(thrownCode([&] { block->setOrigin(OdGePoint3d(0, kNan, 0)); }), kOdInvalidInput);
    EXPECT_EQ(block->origin(), OdGePoint3d());
}

TEST_F(HostileEntities, ADrawingTakesNoInsertBaseThatIsNoPoint)
{
    EXPECT_EQ(thrownCode([&] { m_db->setINSBASE(OdGePoint3d(kInf, 0, 0)); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { m_db->setPINSBASE(OdGePoint3d(0, 0, kNan)); }), kOdInvalidInput);
    EXPECT_EQ(m_db->getINSBASE(), OdGePoint3d());
    EXPECT_EQ(m_db->getPINSBASE(), OdGePoint3d());
}

TEST_F(HostileEntities, ADimensionShowsNoHundredsOfDigits)
{
    const OdDbAlignedDimensionPtr dimension = OdDbAlignedDimension::createObject();
    dimension->setXLine2Point(OdGePoint3d(1e300, 0, 0));
    dimension->setDimensionText(L"<> and <>");
    EXPECT_EQ(dimension->shownText(), L"1e+300 and 1e+300");
    dimension->setXLine2Point(OdGePoint3d(123456789.25, 0, 0));
    EXPECT_EQ(dimension->shownText(), L"123456789.25 and 123456789.25");
    dimension->setXLine2Point(OdGePoint3d());
    EXPECT_EQ(dimension->shownText(), L"0 and 0");
}

// ---------------------------------------------------------------------------------------------
// Ids

TEST_F(HostileEntities, DoNotComeIntoADatabaseWithIdsOfAnother)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId foreignLine =
        modelSpace(*other)->appendOdDbEntity(OdDbLine::createObject().get());
    using Give = std::function<OdDbEntityPtr()>;
    const std::pair<char const*, Give> kEntities[] = {
        {"layer",
         [&] {
             const OdDbLinePtr line = OdDbLine::createObject();
             line->setLayer(other->getLayerZeroId());
             return OdDbEntityPtr(line);
         }},
        {"material",
         [&] {
             const OdDbLinePtr line = OdDbLine::createObject();
             line->setMaterial(
                 samples::named<OdDbMaterial>(other->getMaterialDictionaryId(true), L"M"));
             return OdDbEntityPtr(line);
         }},
        {"line type",
         [&] {
             const OdDbLinePtr line = OdDbLine::createObject();
             line->setLinetype(other->getLinetypeContinuousId());
             return OdDbEntityPtr(line);
         }},
        {"line type of an element",
         [&] {
             const OdDbMlinePtr mline = OdDbMline::createObject();
             OdDbMline::Elements elements;
             elements.append({1.0, OdCmEntityColor(), other->getLinetypeContinuousId()});
             mline->setElements(elements);
             return OdDbEntityPtr(mline);
         }},
        {"annotation",
         [&] {
             const OdDbLeaderPtr leader = OdDbLeader::createObject();
             leader->setAnnotationObjId(foreignLine);
             return OdDbEntityPtr(leader);
         }},
        {"visual style",
         [&] {
             const OdDbViewportPtr viewport = OdDbViewport::createObject();
             viewport->setVisualStyleId(
                 samples::named<OdDbVisualStyle>(other->getVisualStyleDictionaryId(true), L"V"));
             return OdDbEntityPtr(viewport);
         }},
        {"block",
         [&] {
             return OdDbEntityPtr(
                 OdDbBlockReference::createObject(other->getPaperSpaceId(), OdGePoint3d()));
         }},
        {"copy of an entity of the other",
         [&] { return OdDbEntityPtr(foreignLine.safeOpenObject()->clone()); }},
    };
    const DatabaseState before = stateOf(*m_db);
    for (auto const& [name, give] : kEntities) {
        const OdDbEntityPtr entity = give();
        EXPECT_EQ(thrownCode([&] { modelSpace(*m_db)->appendOdDbEntity(entity.get()); }),
                  kOdWrongDatabase)
            << name;
        EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(entity.get()); }), kOdWrongDatabase) << name;
        EXPECT_EQ(entity->database(), nullptr) << name;
        EXPECT_EQ(modelSpace(*m_db)->entityCount(), 0U) << name;
    }
    EXPECT_EQ(stateOf(*m_db), before);
}

TEST_F(HostileEntities, TakeOverNoFieldsThatReferToAnotherDatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbLinePtr foreign = OdDbLine::createObject();
    foreign->setEndPoint(OdGePoint3d(5, 5, 5));
    modelSpace(*other)->appendOdDbEntity(foreign.get());
    const OdDbLinePtr line = OdDbLine::createObject();
    modelSpace(*m_db)->appendOdDbEntity(line.get());
    const auto before = bytesOf(*line);
    EXPECT_EQ(thrownCode([&] { line->copyFrom(foreign.get()); }), kOdWrongDatabase);
    const OdDbEntityPtr loose = OdRxObjectPtr(foreign->clone());
    EXPECT_EQ(thrownCode([&] { line->setPropertiesFrom(loose.get()); }), kOdWrongDatabase);
    EXPECT_EQ(bytesOf(*line), before);
}

TEST_F(HostileEntities, KeepTheirLayerWhereTheyTakeOverPropertiesWithoutOne)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    modelSpace(*m_db)->appendOdDbEntity(line.get());
    const OdDbCirclePtr fresh = OdDbCircle::createObject();
    fresh->setColor(OdCmEntityColor(1, 2, 3));
    line->setPropertiesFrom(fresh.get());
    EXPECT_EQ(line->layerId(), m_db->getLayerZeroId());
    EXPECT_EQ(line->color(), OdCmEntityColor(1, 2, 3));
}

TEST_F(HostileEntities, GetALayerAlsoWhereTheyComeFromTheDatabaseIntoABlock)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    m_db->addOdDbObject(line.get());
    modelSpace(*m_db)->appendOdDbEntity(line.get());
    EXPECT_EQ(line->layerId(), m_db->getLayerZeroId());
}

TEST_F(HostileEntities, RefuseIdsOfOtherKindsInsideTheirFields)
{
    const OdDbMlinePtr mline = OdDbMline::createObject();
    OdDbMline::Elements elements;
    elements.append({1.0, OdCmEntityColor(), m_db->getLayerZeroId()});
    EXPECT_EQ(thrownCode([&] { mline->setElements(elements); }), kOdNotThatKindOfClass);
    EXPECT_TRUE(mline->elements().isEmpty());
    const OdDbLeaderPtr leader = OdDbLeader::createObject();
    EXPECT_EQ(thrownCode([&] { leader->setAnnotationObjId(m_db->getLayerZeroId()); }),
              kOdNotThatKindOfClass);
    const OdDbViewportPtr viewport = OdDbViewport::createObject();
    EXPECT_EQ(thrownCode([&] { viewport->setVisualStyleId(m_db->getLayerZeroId()); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { mline->setLayer(OdDbObjectId::kNull); }), kOdNotThatKindOfClass);
}

TEST_F(HostileEntities, ThatAreClosedAnswerNeitherReadersNorWriters)
{
    for (EntitySample const& sample : sampleEntities(*m_db)) {
        modelSpace(*m_db)->appendOdDbEntity(sample.entity.get());
        OdDbEntity& entity = *sample.entity;
        const OdDbObjectId id = entity.objectId();
        const_cast<EntitySample&>(sample).entity.release();
        OdGeExtents3d extents;
        OdStaticRxObject<gitest::RecordingWorldDraw> draw;
        EXPECT_EQ(thrownCode([&] { (void)entity.getGeomExtents(extents); }), kOdNotOpenForRead)
            << sample.name;
        EXPECT_EQ(thrownCode([&] { entity.worldDraw(&draw); }), kOdNotOpenForRead) << sample.name;
        EXPECT_EQ(thrownCode([&] { entity.setColor(OdCmEntityColor(1, 1, 1)); }),
                  kOdNotOpenForWrite)
            << sample.name;
        const OdResult moved = thrownCode(
            [&] { (void)entity.transformBy(OdGeMatrix3d::translation(OdGeVector3d(1, 1, 1))); });
        EXPECT_TRUE(moved == kOdNotOpenForWrite || moved == kOdNotOpenForRead) << sample.name;
        const OdDbEntityPtr opened = id.safeOpenObject();
        EXPECT_EQ(thrownCode([&] {
                      (void)opened->transformBy(OdGeMatrix3d::translation(OdGeVector3d(1, 1, 1)));
                  }),
                  kOdNotOpenForWrite)
            << sample.name;
    }
}

// ---------------------------------------------------------------------------------------------
// Clones and undo

TEST_F(HostileEntities, AreTheSameAfterADeepCloneAndUndoTakesThatBack)
{
    std::vector<EntitySample> samples = sampleEntities(*m_db);
    OdDbObjectIdArray ids;
    for (EntitySample const& sample : samples) {
        ids.append(modelSpace(*m_db)->appendOdDbEntity(sample.entity.get()));
    }
    samples.clear();
    const DatabaseState before = livingStateOf(*m_db);
    m_db->startUndoRecord();
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects(ids, m_db->getModelSpaceId(), *mapping);
    for (OdDbObjectId id : ids) {
        OdDbIdPair pair(id);
        ASSERT_TRUE(mapping->compute(pair));
        const OdDbEntityPtr source = id.safeOpenObject();
        const OdDbEntityPtr clone = pair.value().safeOpenObject();
        EXPECT_EQ(bytesOf(*clone), bytesOf(*source)) << source->isA()->name().utf8();
    }
    const DatabaseState after = livingStateOf(*m_db);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), after);
}

TEST_F(HostileEntities, KeepTheirPropertiesThroughUndoAndRedo)
{
    for (EntitySample const& sample : sampleEntities(*m_db)) {
        modelSpace(*m_db)->appendOdDbEntity(sample.entity.get());
        const auto before = bytesOf(*sample.entity);
        m_db->startUndoRecord();
        sample.entity->setPropertiesFrom(OdDbLine::createObject().get());
        const auto after = bytesOf(*sample.entity);
        EXPECT_NE(after, before) << sample.name;
        ASSERT_EQ(m_db->undo(), kOdOk);
        EXPECT_EQ(bytesOf(*sample.entity), before) << sample.name;
        ASSERT_EQ(m_db->redo(), kOdOk);
        EXPECT_EQ(bytesOf(*sample.entity), after) << sample.name;
    }
}

TEST_F(HostileEntities, AReferenceThatTakesOverAnothersFieldsIsListedByItsNewBlock)
{
    const OdDbObjectId first = addBlock(L"first");
    const OdDbObjectId second = addBlock(L"second");
    const OdDbObjectId id = addReference(m_db->getModelSpaceId(), first);
    const auto listed = [](OdDbObjectId block) {
        return OdDbBlockTableRecordPtr(block.safeOpenObject())->getBlockReferenceIds().size();
    };
    const OdDbBlockReferencePtr model = OdDbBlockReference::createObject(second, OdGePoint3d());
    m_db->startUndoRecord();
    OdDbObjectPtr(id.safeOpenObject(OdDb::kForWrite))->copyFrom(model.get());
    EXPECT_EQ(listed(first), 0U);
    EXPECT_EQ(listed(second), 1U);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(listed(first), 1U);
    EXPECT_EQ(listed(second), 0U);
    const OdDbObjectId inner = addReference(first, second);
    const OdDbBlockReferencePtr ring = OdDbBlockReference::createObject(first, OdGePoint3d());
    EXPECT_EQ(thrownCode([&] {
                  OdDbObjectPtr(inner.safeOpenObject(OdDb::kForWrite))->copyFrom(ring.get());
              }),
              kOdCyclicReference);
    EXPECT_EQ(OdDbBlockReferencePtr(inner.safeOpenObject())->blockTableRecord(), second);
}

TEST_F(HostileEntities, ThatTakeOverFieldsTellThatTheirGraphicsChanged)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    modelSpace(*m_db)->appendOdDbEntity(line.get());
    const OdDbObjectId id = line->objectId();
    const OdDbObjectId watcher = addReactor();
    line->addPersistentReactor(watcher);
    const_cast<OdDbLinePtr&>(line).release();
    reactor(watcher).notices.clear();
    OdDbObjectPtr(id.safeOpenObject(OdDb::kForWrite))->copyFrom(OdDbLine::createObject().get());
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kModifiedGraphics), 1);
}

// ---------------------------------------------------------------------------------------------
// Nesting

TEST_F(HostileEntities, AChainOfThousandsOfBlocksHasExtents)
{
    constexpr int kLevels = 30'000;
    const OdDbBlockReferencePtr top = chainOf(kLevels);
    OdGeExtents3d extents;
    ASSERT_EQ(top->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(kLevels, 0, 0), OdGePoint3d(kLevels + 1, 2, 3)}));
}

TEST_F(HostileEntities, AChainOfThousandsOfBlocksIsDrawnToADepthAndSaysSo)
{
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    const OdDbBlockReferencePtr top = chainOf(3000);
    draw.drawn.draw(top.get());
    EXPECT_TRUE(draw.drawn.journal.empty());
    EXPECT_EQ(draw.drawn.transformDepth(), 0U);
}

TEST_F(HostileEntities, AChainOfReasonableDepthIsDrawnToItsGround)
{
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    const OdDbBlockReferencePtr top = chainOf(OdDbBlockReference::kDeepestDrawn - 2);
    draw.drawn.draw(top.get());
    EXPECT_EQ(draw.drawn.journal, std::vector<std::string>{"polyline 2"});
}

TEST_F(HostileEntities, ABlockOfHugeEntitiesThatIsTurnedAThousandTimesHasExtentsInTime)
{
    const OdDbObjectId block = addBlock(L"huge");
    const OdDbPolylinePtr polyline = OdDbPolyline::createObject();
    OdDbPolylineVertexArray vertices;
    for (int corner = 0; corner < 20'000; ++corner) {
        vertices.append({{corner * 5e-5, corner % 2 * 1.0}, 0.0, 0.0, 0.0});
    }
    polyline->setVertices(vertices);
    writeBlock(block)->appendOdDbEntity(polyline.get());
    const OdDbObjectId outer = addBlock(L"outer");
    for (int turn = 0; turn < 2000; ++turn) {
        const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject(block, {});
        reference->setRotation(turn * 0.001);
        writeBlock(outer)->appendOdDbEntity(reference.get());
    }
    const OdDbBlockReferencePtr top = addReference(m_db->getModelSpaceId(), outer).safeOpenObject();
    OdGeExtents3d extents;
    ASSERT_EQ(top->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.contains(OdGePoint3d(0.99, 0.99, 0)));
    EXPECT_TRUE(OdGeExtents3d(OdGePoint3d(-2, -2, 0), OdGePoint3d(2, 2, 0)).contains(extents));
}

TEST_F(HostileEntities, AMultilineOfManyLinesIsMeasuredAndDrawnInTime)
{
    const OdDbMlinePtr mline = OdDbMline::createObject();
    OdGePoint3dArray path;
    OdDbMline::Elements elements;
    for (int index = 0; index < 100'000; ++index) {
        path.append(OdGePoint3d(index, index % 2, 0));
        elements.append({index * 0.001 - 50.0, OdCmEntityColor(), OdDbObjectId::kNull});
    }
    mline->setVertices(path);
    mline->setElements(elements);
    OdGeExtents3d extents;
    ASSERT_EQ(mline->getGeomExtents(extents), kOdOk);
    EXPECT_GT(extents.maxPoint().y, 49.0);
    EXPECT_LT(extents.minPoint().y, -49.0);
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(mline->worldDraw(&draw), unsigned{kDrawableIsTruncated});
    EXPECT_LE(draw.drawn.points.size(), OdDbMline::kMostDrawn + 2 * 100'000U);
}

// ---------------------------------------------------------------------------------------------
// Hatches

TEST_F(HostileEntities, AHatchWhosePatternStartsFarAwayEnds)
{
    for (double far : {1e14, 1e17, 1e100, 1e300}) {
        const OdDbHatchPtr hatch = squareHatch(1000.0);
        OdDbHatchPatternLine line;
        line.base = {-far, 0.0};
        line.offset = {0.0, 100.0};
        line.dashes.append(1.0);
        line.dashes.append(-1.0);
        hatch->setPattern(L"FAR", only(line));
        OdStaticRxObject<gitest::RecordingWorldDraw> draw;
        (void)hatch->worldDraw(&draw);
        EXPECT_LT(draw.drawn.journal.size(), 100'000U) << far;
    }
}

TEST_F(HostileEntities, AHatchOfManyCornersAndFineLinesEndsAndSaysSo)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop comb;
    for (int tooth = 0; tooth < 2000; ++tooth) {
        comb.vertices.append({{tooth * 1.0, 0.0}, 0.0, 0.0, 0.0});
        comb.vertices.append({{tooth + 0.5, 19'000.0}, 0.0, 0.0, 0.0});
    }
    hatch->appendLoop(comb);
    OdDbHatchPatternLine line;
    line.dashes.append(1e-3);
    line.dashes.append(-1e-3);
    OdArray<OdDbHatchPatternLine> lines;
    for (int family = 0; family < 3; ++family) {
        lines.append(line);
    }
    hatch->setPattern(L"FINE", lines);
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(hatch->worldDraw(&draw), unsigned{kDrawableIsTruncated});
    EXPECT_LE(draw.drawn.journal.size(), 1'000'000U);
}

TEST_F(HostileEntities, AHatchWhoseDashesLeadToNothingEndsAndSaysSo)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop comb;
    for (int tooth = 0; tooth < 100; ++tooth) {
        comb.vertices.append({{tooth * 1.0, 0.0}, 0.0, 0.0, 0.0});
        comb.vertices.append({{tooth + 0.5, 9'000.0}, 0.0, 0.0, 0.0});
    }
    hatch->appendLoop(comb);
    OdDbHatchPatternLine gaps;
    gaps.offset = {0.0, 1.0};
    for (int index = 0; index < 9000; ++index) {
        gaps.dashes.append(-1.0);
    }
    hatch->setPattern(L"GAPS", only(gaps));  // almost a million pairs, 9000 steps each
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(hatch->worldDraw(&draw), unsigned{kDrawableIsTruncated});
    EXPECT_TRUE(draw.drawn.journal.empty());
}

TEST_F(HostileEntities, AHatchOfManyPatternsOverManyPointsEndsAndSaysSo)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop loop;
    for (int corner = 0; corner < 100'000; ++corner) {
        loop.vertices.append({{corner * 1.0, 0.25 * (corner % 2)}, 0.0, 0.0, 0.0});
    }
    hatch->appendLoop(loop);
    OdArray<OdDbHatchPatternLine> lines;
    OdDbHatchPatternLine line;
    line.base = {0.0, 0.5};
    line.offset = {0.0, 1.0};
    for (int family = 0; family < 20'000; ++family) {
        lines.append(line);
    }
    hatch->setPattern(L"MANY", lines);
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(hatch->worldDraw(&draw), unsigned{kDrawableIsTruncated});
}

TEST_F(HostileEntities, AHatchOfManyPatternsWithTooManyCrossingsEndsAndSaysSo)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop comb;
    for (int tooth = 0; tooth < 200; ++tooth) {
        comb.vertices.append({{tooth * 1.0, 0.0}, 0.0, 0.0, 0.0});
        comb.vertices.append({{tooth + 0.5, 19'000.0}, 0.0, 0.0, 0.0});
    }
    hatch->appendLoop(comb);
    OdArray<OdDbHatchPatternLine> lines;
    OdDbHatchPatternLine line;
    line.offset = {0.0, 1.0};
    for (int family = 0; family < 20'000; ++family) {
        lines.append(line);
    }
    hatch->setPattern(L"MANY", lines);
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(hatch->worldDraw(&draw), unsigned{kDrawableIsTruncated});
}

TEST_F(HostileEntities, AHatchWhoseEdgesAreLongerThanNumbersIsMeasuredAndDrawn)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop loop;
    loop.edges.append(OdDbHatchEdge::arc({0.0, 0.0}, {1.0, 0.0}, {0.0, 1.0}, -1e308, 1e308));
    hatch->appendLoop(loop);
    OdGeExtents3d extents;
    ASSERT_EQ(hatch->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(-1, -1, 0), OdGePoint3d(1, 1, 0)}));
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    (void)hatch->worldDraw(&draw);
    ASSERT_FALSE(draw.drawn.points.empty());
    for (OdGePoint3d const& point : draw.drawn.points) {
        EXPECT_TRUE(extents.contains(point, OdGeTol(1e-9)));
    }
    const OdDbHatchEdge line = OdDbHatchEdge::line({-1e308, 0.0}, {1e308, 1.0});
    EXPECT_EQ(line.at(0.0), line.start);
    EXPECT_EQ(line.at(1.0), line.end);
    EXPECT_EQ(line.at(0.5), OdGePoint2d(0.0, 0.5));
}

TEST_F(HostileEntities, AHatchOfManyArcsIsDrawnWithPointsThatFitIntoMemory)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop loop;
    for (int corner = 0; corner < 100'000; ++corner) {
        loop.vertices.append({{corner * 1.0, 1e6 * (corner % 2)}, 1.0, 0.0, 0.0});
    }
    hatch->appendLoop(loop);
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    draw.allowedDeviation = 1e-9;
    (void)hatch->worldDraw(&draw);
    EXPECT_LT(draw.drawn.points.size(), 3'000'000U);
    EXPECT_GT(draw.drawn.points.size(), 100'000U);
}

TEST_F(HostileEntities, AHatchOfManyLoopsIsDrawnInTime)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    for (int index = 0; index < 20'000; ++index) {
        hatch->appendLoop(square(0.25, {index * 1.0, 0.0}));
    }
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(hatch->worldDraw(&draw), unsigned{kDrawableIsTruncated});
    EXPECT_EQ(draw.drawn.points.size(), 80'000U);
}

/// Keeps the faces of the shells that are drawn.
class FaceRecorder : public gitest::RecordingGeometry
{
public:
    using RecordingGeometry::RecordingGeometry;
    std::vector<std::int32_t> counts;

    void shell(OdGiShell const& shell) override
    {
        for (std::size_t at = 0; at < shell.faces.size();
             at += static_cast<std::size_t>(std::abs(shell.faces[at])) + 1) {
            counts.push_back(shell.faces[at]);
        }
    }
};

class FaceRecordingDraw : public gitest::RecordingWorldDraw
{
public:
    mutable OdStaticRxObject<FaceRecorder> faces{traits};
    OdGiGeometry& geometry() const override { return faces; }
};

TEST_F(HostileEntities, AHatchFillsWhatLiesWithinAnOddNumberOfLoops)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    // An island in a hole, told from the inside out, and something beside it.
    for (double half : {1.0, 2.0, 4.0}) {
        hatch->appendLoop(square(half));
    }
    hatch->appendLoop(square(1.0, {100.0, 0.0}));
    hatch->appendLoop(OdDbHatchLoop());
    OdStaticRxObject<FaceRecordingDraw> draw;
    EXPECT_EQ(hatch->worldDraw(&draw), unsigned{kDrawableNone});
    EXPECT_EQ(draw.faces.counts, (std::vector<std::int32_t>{4, 4, -4, 4}));
}

TEST_F(HostileEntities, EmptyOnesAreMeasuredAndDrawnAsNothing)
{
    OdGeExtents3d extents;
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    for (OdDbEntityPtr const& entity :
         {OdDbEntityPtr(OdDbPolyline::createObject()),
          OdDbEntityPtr(OdDb2dPolyline::createObject()), OdDbEntityPtr(OdDbMline::createObject()),
          OdDbEntityPtr(OdDbLeader::createObject()), OdDbEntityPtr(OdDbHatch::createObject()),
          OdDbEntityPtr(OdDb3dSolid::createObject()),
          OdDbEntityPtr(OdDbBlockReference::createObject())}) {
        EXPECT_EQ(entity->getGeomExtents(extents), kOdNotApplicable)
            << entity->isA()->name().utf8();
        (void)entity->worldDraw(&draw);
        EXPECT_EQ(entity->transformBy(OdGeMatrix3d::scaling(2.0)), kOdOk);
    }
    EXPECT_TRUE(draw.drawn.points.empty());
}

// ---------------------------------------------------------------------------------------------
// Solids

TEST_F(HostileEntities, ASolidHasNoMarkerForPartsThatNoSolidHas)
{
    using Type = OdDb::SubentType;
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    for (std::int64_t index : {std::int64_t{0}, std::int64_t{-1}, kLeast, kLargest, kLargest / 4}) {
        EXPECT_EQ(OdDb3dSolid::selectionMarker({Type::kFaceSubentType, index}), 0) << index;
    }
    for (std::int64_t index : {std::int64_t{1}, kLargest / 4 - 1}) {
        const OdDbSubentId part(Type::kVertexSubentType, index);
        EXPECT_EQ(OdDb3dSolid::partOfMarker(OdDb3dSolid::selectionMarker(part)), part) << index;
    }
    for (std::int64_t marker : {kLeast, std::int64_t{-5}, std::int64_t{0}, std::int64_t{3}}) {
        EXPECT_EQ(OdDb3dSolid::partOfMarker(marker), OdDbSubentId()) << marker;
    }
    EXPECT_EQ(OdDb3dSolid::selectionMarker({static_cast<Type>(77), 1}), 0);
}

/// Knows every format, and bodies with two faces and an edge, of which it counts what is drawn.
class FewPartsModeler : public OdDb3dSolidModeler
{
public:
    mutable int drawn = 0;
    bool isUnreadable = false;
    OdGeExtents3d box;

    bool knowsFormat(OdString const& /*format*/) const override { return true; }
    OdResult count(OdString const& /*format*/, OdBinaryData const& /*body*/,
                   OdDb3dSolid::Counts& counts) const override
    {
        counts = {2, 1, 0};
        return isUnreadable ? kOdObjectDamaged : kOdOk;
    }
    OdResult extents(OdDb3dSolid const& /*solid*/, OdGeExtents3d& extents) const override
    {
        extents = box;
        return kOdOk;
    }
    OdResult drawPart(OdDb3dSolid const& /*solid*/, OdDbSubentId /*part*/,
                      OdGiWorldDraw& /*worldDraw*/) const override
    {
        ++drawn;
        return kOdOk;
    }
    OdResult transform(OdString const& /*format*/, OdBinaryData const& /*body*/,
                       OdGeMatrix3d const& /*placement*/, OdBinaryData& /*result*/) const override
    {
        return kOdNotApplicable;
    }
};

class HostileSolid : public HostileEntities
{
protected:
    OdStaticRxObject<FewPartsModeler> m_modeler;
    OdDb3dSolidPtr m_solid = OdDb3dSolid::createObject();

    void SetUp() override
    {
        OdDb3dSolid::desc()->addX(OdDb3dSolidModeler::desc(), &m_modeler);
        OdBinaryData body;
        body.append(1);
        m_solid->setBody(L"any", body, {0xFFFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFFFU});
    }
    void TearDown() override
    {
        m_solid.release();
        OdDb3dSolid::desc()->delX(OdDb3dSolidModeler::desc());
        HostileEntities::TearDown();
    }
};

TEST_F(HostileSolid, WithBillionsOfPartsIsDrawnWithThoseThatItsBodyHas)
{
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    EXPECT_EQ(m_solid->worldDraw(&draw), unsigned{kDrawableIsTruncated});
    EXPECT_EQ(m_modeler.drawn, 3);
    m_modeler.isUnreadable = true;
    EXPECT_EQ(m_solid->worldDraw(&draw), unsigned{kDrawableIsTruncated});
    EXPECT_EQ(m_modeler.drawn, 3);
}

TEST_F(HostileSolid, HasNoExtentsThatAreNone)
{
    OdGeExtents3d extents;
    EXPECT_EQ(m_solid->getGeomExtents(extents), kOdNotApplicable);
    m_modeler.box.set(OdGePoint3d(kNan, 0, 0), OdGePoint3d(1, 1, 1));
    EXPECT_EQ(m_solid->getGeomExtents(extents), kOdNotApplicable);
    m_modeler.box.set(OdGePoint3d(-kInf, 0, 0), OdGePoint3d(1, 1, 1));
    EXPECT_EQ(m_solid->getGeomExtents(extents), kOdNotApplicable);
    m_modeler.box.set(OdGePoint3d(0, 0, 0), OdGePoint3d(1, 1, 1));
    EXPECT_EQ(m_solid->getGeomExtents(extents), kOdOk);
}

TEST_F(HostileSolid, AnswersPathsOfOthersAndEmptyOnesWithNothing)
{
    using Type = OdDb::SubentType;
    const OdDbSubentId face(Type::kFaceSubentType, 1);
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    modelSpace(*m_db)->appendOdDbEntity(m_solid.get());
    const auto found = [&](OdDbObjectIdArray const& ids) {
        return !m_solid->subentPtr({ids, face}).isNull();
    };
    OdDbObjectIdArray ids;
    EXPECT_FALSE(found(ids));
    ids.append(OdDbObjectId::kNull);
    EXPECT_FALSE(found(ids));
    ids.append(other->getModelSpaceId());
    EXPECT_FALSE(found(ids));
    ids.append(m_solid->objectId());
    EXPECT_TRUE(found(ids));
    ids.append(m_db->getModelSpaceId());
    EXPECT_FALSE(found(ids));
}

}  // namespace
