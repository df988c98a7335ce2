#include "db/db_test_support.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_curves.h"
#include "db/od_db_dimension.h"
#include "db/od_db_hatch.h"
#include "db/od_db_material.h"
#include "db/od_db_polylines.h"
#include "db/od_db_text.h"
#include "db/od_db_viewport.h"
#include "db/od_db_visual_style.h"
#include "ge/od_ge_circ_arc3d.h"
#include "ge/od_ge_ellip_arc3d.h"
#include "ge/od_ge_plane.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

using namespace dbtest;

namespace {

constexpr double kPi = std::numbers::pi;
const double kNan = std::numeric_limits<double>::quiet_NaN();
const OdGeVector3d kDown(0.0, 0.0, -1.0);

class Curves : public DatabaseTest
{
};

TEST_F(Curves, AnArcIsTurnedOverByItsOwnCurveAndKeepsItsPoints)
{
    const OdDbArcPtr arc = OdDbArc::createObject();
    arc->setCenter(OdGePoint3d(1, 2, 3));
    arc->setNormal(kDown);
    arc->setStartAngle(0.25);
    arc->setEndAngle(1.5);
    const OdGePoint3d start = arc->startPoint();
    const OdGePoint3d end = arc->endPoint();
    std::unique_ptr<OdGeCurve3d> curve;
    ASSERT_EQ(arc->getOdGeCurve(curve), kOdOk);
    ASSERT_EQ(arc->setFromOdGeCurve(*curve, &OdGeVector3d::kZAxis), kOdOk);
    EXPECT_EQ(arc->normal(), OdGeVector3d::kZAxis);
    EXPECT_TRUE(arc->startPoint().isEqualTo(end));
    EXPECT_TRUE(arc->endPoint().isEqualTo(start));
    EXPECT_EQ(arc->setFromOdGeCurve(*curve, &OdGeVector3d::kXAxis), kOdInvalidInput);
    EXPECT_EQ(arc->setFromOdGeCurve(OdGeEllipArc3d()), kOdInvalidInput);
    EXPECT_EQ(arc->normal(), OdGeVector3d::kZAxis);
}

TEST_F(Curves, AnEllipseIsTurnedOverByItsOwnCurveAndKeepsItsPoints)
{
    const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
    ellipse->set(OdGePoint3d(1, 2, 3), kDown, OdGeVector3d(0, 4, 0), 0.5, 0.25, 1.5);
    std::unique_ptr<OdGeCurve3d> before;
    ASSERT_EQ(ellipse->getOdGeCurve(before), kOdOk);
    ASSERT_EQ(ellipse->setFromOdGeCurve(*before, &OdGeVector3d::kZAxis), kOdOk);
    EXPECT_EQ(ellipse->normal(), OdGeVector3d::kZAxis);
    std::unique_ptr<OdGeCurve3d> after;
    ASSERT_EQ(ellipse->getOdGeCurve(after), kOdOk);
    EXPECT_TRUE(after->startPoint().isEqualTo(before->endPoint()));
    EXPECT_TRUE(after->endPoint().isEqualTo(before->startPoint()));
    EXPECT_NEAR(after->length(), before->length(), 1e-9);
}

TEST_F(Curves, AnEllipseKeepsTheLongerAxisFirst)
{
    const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
    ellipse->set(OdGePoint3d(), OdGeVector3d::kZAxis, OdGeVector3d(2, 0, 0), 0.5);
    ASSERT_EQ(ellipse->transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1, 6, 1))), kOdOk);
    EXPECT_TRUE(ellipse->majorAxis().isParallelTo(OdGeVector3d::kYAxis));
    EXPECT_NEAR(ellipse->majorAxis().length(), 6.0, 1e-12);
    EXPECT_NEAR(ellipse->radiusRatio(), 1.0 / 3.0, 1e-12);
}

TEST_F(Curves, ALineAboveTheGroundMovesToTheOtherSideByAMirrorAtIt)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    line->setNormal(kDown);
    line->setStartPoint(OdGePoint3d(1, 2, 0));
    line->setEndPoint(OdGePoint3d(3, 4, 5));
    ASSERT_EQ(line->transformBy(OdGeMatrix3d::mirroring(OdGePlane::kXYPlane)), kOdOk);
    EXPECT_EQ(line->normal(), OdGeVector3d::kZAxis);
    EXPECT_EQ(line->startPoint(), OdGePoint3d(1, 2, 0));
    EXPECT_EQ(line->endPoint(), OdGePoint3d(3, 4, -5));
}

TEST_F(Curves, APolylineBulgesToTheOtherSideAfterAMirror)
{
    const OdDbPolylinePtr polyline = OdDbPolyline::createObject();
    polyline->addVertexAt(0, {{0, 0}, 1.0, 0, 0});
    polyline->addVertexAt(1, {{2, 0}, 0.0, 0, 0});
    OdGeExtents3d extents;
    ASSERT_EQ(polyline->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(0, -1, 0), OdGePoint3d(2, 0, 0)}));
    ASSERT_EQ(polyline->transformBy(OdGeMatrix3d::mirroring(OdGePlane::kZXPlane)), kOdOk);
    EXPECT_EQ(polyline->vertexAt(0).bulge, -1.0);
    ASSERT_EQ(polyline->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(0, 0, 0), OdGePoint3d(2, 1, 0)}));
    EXPECT_EQ(polyline->transformBy(OdGeMatrix3d::scaling(OdGeScale3d(2, 1, 1))), kOdNotApplicable);
    EXPECT_EQ(thrownCode([&] { polyline->addVertexAt(3, {}); }), kOdInvalidIndex);
    EXPECT_EQ(thrownCode([&] { (void)polyline->vertexAt(2); }), kOdInvalidIndex);
}

TEST_F(Curves, AMultilineRunsAroundItsCornersAtItsDistance)
{
    const OdDbMlinePtr mline = OdDbMline::createObject();
    OdGePoint3dArray path;
    path.append(OdGePoint3d(0, 0, 0));
    path.append(OdGePoint3d(10, 0, 0));
    path.append(OdGePoint3d(10, 10, 0));
    mline->setVertices(path);
    OdDbMline::Elements elements;
    elements.append({1.0, OdCmEntityColor(), OdDbObjectId::kNull});
    mline->setElements(elements);
    const OdGePoint3dArray line = mline->line(0);
    EXPECT_TRUE(line.getAt(0).isEqualTo(OdGePoint3d(0, 1, 0)));
    EXPECT_TRUE(line.getAt(1).isEqualTo(OdGePoint3d(9, 1, 0)));
    EXPECT_TRUE(line.getAt(2).isEqualTo(OdGePoint3d(9, 10, 0)));
}

TEST_F(Curves, AHatchDrawsItsPatternInsideItsLoopsAlone)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    for (double half : {4.0, 1.0}) {
        OdDbHatchLoop loop;
        for (OdGePoint2d const& point : {OdGePoint2d(-half, -half), OdGePoint2d(half, -half),
                                         OdGePoint2d(half, half), OdGePoint2d(-half, half)}) {
            loop.vertices.append({point, 0.0, 0.0, 0.0});
        }
        hatch->appendLoop(loop);
    }
    OdArray<OdDbHatchPatternLine> lines;
    OdDbHatchPatternLine line;
    line.offset = {0.0, 2.0};
    lines.append(line);
    hatch->setPattern(L"LINES", lines);
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    EXPECT_EQ(hatch->worldDraw(&worldDraw), unsigned{kDrawableNone});
    for (OdGePoint3d const& point : worldDraw.drawn.points) {
        EXPECT_FALSE(std::fabs(point.x) < 0.999 && std::fabs(point.y) < 0.999);
        EXPECT_LE(std::fabs(point.x), 4.0 + 1e-9);
    }
    EXPECT_GE(worldDraw.drawn.points.size(), 8U);
}

TEST_F(Curves, AHatchWhosePatternIsTooFineTellsSoAndEnds)
{
    const OdDbHatchPtr hatch = OdDbHatch::createObject();
    OdDbHatchLoop loop;
    for (OdGePoint2d const& point :
         {OdGePoint2d(0, 0), OdGePoint2d(1e9, 0), OdGePoint2d(1e9, 1e9)}) {
        loop.vertices.append({point, 0.0, 0.0, 0.0});
    }
    hatch->appendLoop(loop);
    for (OdGeVector2d const& offset :
         {OdGeVector2d(0, 1e-9), OdGeVector2d(0, 0), OdGeVector2d(1, 0)}) {
        OdArray<OdDbHatchPatternLine> lines;
        OdDbHatchPatternLine line;
        line.offset = offset;
        line.dashes.append(1e-12);
        lines.append(line);
        hatch->setPattern(L"FINE", lines);
        OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
        EXPECT_EQ(hatch->worldDraw(&worldDraw), unsigned{kDrawableIsTruncated});
    }
}

TEST_F(Curves, AMTextBreaksItsLinesAtItsWidth)
{
    const OdDbMTextPtr text = OdDbMText::createObject();
    text->setContents(L"one two three\\Pfour");
    EXPECT_EQ(text->lines().size(), 2U);
    text->setWidth(8.0);
    const OdArray<OdString> lines = text->lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines.getAt(0), OdString(L"one two"));
    EXPECT_EQ(lines.getAt(1), OdString(L"three"));
    EXPECT_EQ(lines.getAt(2), OdString(L"four"));
    EXPECT_EQ(text->actualWidth(), 7.0);
}

TEST_F(Curves, ADimensionMeasuresAlongItsLine)
{
    const OdDbRotatedDimensionPtr dimension = OdDbRotatedDimension::createObject();
    dimension->setXLine2Point(OdGePoint3d(3, 4, 0));
    EXPECT_NEAR(dimension->measurement(), 3.0, 1e-12);
    dimension->setRotation(kPi / 2.0);
    EXPECT_NEAR(dimension->measurement(), 4.0, 1e-12);
    const OdDbAlignedDimensionPtr aligned = OdDbAlignedDimension::createObject();
    aligned->setXLine2Point(OdGePoint3d(3, 4, 0));
    EXPECT_NEAR(aligned->measurement(), 5.0, 1e-12);
    EXPECT_EQ(aligned->shownText(), OdString(L"5"));
    aligned->setDimensionText(L"<> mm");
    EXPECT_EQ(aligned->shownText(), OdString(L"5 mm"));
}

TEST_F(Curves, AViewportTakesPaperToTheModel)
{
    const OdDbViewportPtr viewport = OdDbViewport::createObject();
    viewport->setCenterPoint(OdGePoint3d(100, 50, 0));
    viewport->setHeight(20.0);
    viewport->setViewHeight(200.0);
    viewport->setViewCenter(OdGePoint2d(5, 6));
    viewport->setViewTarget(OdGePoint3d(1, 2, 3));
    viewport->setViewDirection(OdGeVector3d(0, 0, 7));
    EXPECT_NEAR(viewport->customScale(), 0.1, 1e-12);
    const OdGeMatrix3d toWorld = viewport->displayToWorld() * viewport->paperToDisplay();
    EXPECT_TRUE((toWorld * OdGePoint3d(100, 50, 0)).isEqualTo(OdGePoint3d(6, 8, 3)));
    EXPECT_TRUE((toWorld * OdGePoint3d(101, 50, 0)).isEqualTo(OdGePoint3d(16, 8, 3)));
    viewport->setTwistAngle(kPi / 2.0);
    const OdGeMatrix3d twisted = viewport->displayToWorld();
    EXPECT_TRUE((twisted * OdGePoint3d(1, 0, 0)).isEqualTo(OdGePoint3d(1, 1, 3)));
    viewport->setCustomScale(0.5);
    EXPECT_NEAR(viewport->viewHeight(), 40.0, 1e-12);
    EXPECT_EQ(viewport->transformBy(OdGeMatrix3d::rotation(0.1, OdGeVector3d::kZAxis)),
              kOdNotApplicable);
}

TEST_F(Curves, RefuseNumbersThatMakeNoGeometryAndStayAsTheyAre)
{
    const OdDbCirclePtr circle = OdDbCircle::createObject();
    const OdDbTextPtr text = OdDbText::createObject();
    const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
    const auto before = bytesOf(*circle);
    for (double radius : {0.0, -1.0, kNan, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(thrownCode([&] { circle->setRadius(radius); }), kOdInvalidInput) << radius;
    }
    for (OdGeVector3d const& normal : {OdGeVector3d(), OdGeVector3d(kNan, 0, 1),
                                       OdGeVector3d(0, std::numeric_limits<double>::max(),
                                                    std::numeric_limits<double>::max())}) {
        EXPECT_EQ(thrownCode([&] { circle->setNormal(normal); }), kOdInvalidInput);
    }
    EXPECT_EQ(thrownCode([&] { circle->setCenter(OdGePoint3d(kNan, 0, 0)); }), kOdInvalidInput);
    EXPECT_EQ(bytesOf(*circle), before);
    EXPECT_EQ(thrownCode([&] { text->setOblique(kPi / 2.0); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] {
                  ellipse->set(OdGePoint3d(), OdGeVector3d::kZAxis, OdGeVector3d::kZAxis, 0.5);
              }),
              kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] {
                  ellipse->set(OdGePoint3d(), OdGeVector3d::kZAxis, OdGeVector3d::kXAxis, 1.5);
              }),
              kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { circle->setMaterial(m_db->getLayerZeroId()); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { circle->setLinetype(m_db->getLayerZeroId()); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { circle->setLineWeight(212); }), kOdInvalidInput);
}

TEST_F(Curves, ADatabaseMakesDictionariesOfMaterialsAndVisualStylesWhenAskedTo)
{
    EXPECT_TRUE(m_db->getMaterialDictionaryId(false).isNull());
    const OdDbObjectId materials = m_db->getMaterialDictionaryId(true);
    EXPECT_FALSE(materials.isNull());
    EXPECT_EQ(m_db->getMaterialDictionaryId(false), materials);
    EXPECT_TRUE(m_db->getVisualStyleDictionaryId(false).isNull());
    const OdDbDictionaryPtr styles = writeDictionary(m_db->getVisualStyleDictionaryId(true));
    const OdDbVisualStylePtr style = OdDbVisualStyle::createObject();
    OdDbEdgeStyle edges;
    edges.setEdgeColor(OdCmEntityColor(1, 2, 3));
    edges.setObscuredLinePattern(OdDbEdgeStyle::kDashed);
    style->setEdgeStyle(edges);
    styles->setAt(L"Hidden", style.get());
    EXPECT_EQ(style->edgeStyle(), edges);
    EXPECT_TRUE(m_db->isDrawOverrideAllowed());
}

TEST_F(Curves, TheActiveViewportIsASettingOfTheDrawing)
{
    EXPECT_TRUE(m_db->activeViewportId().isNull());
    const OdDbObjectId viewport = m_db->addOdDbObject(OdDbViewport::createObject().get());
    m_db->startUndoRecord();
    m_db->setActiveViewportId(viewport);
    EXPECT_EQ(m_db->activeViewportId(), viewport);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(m_db->activeViewportId().isNull());
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(thrownCode([&] { other->setActiveViewportId(viewport); }), kOdWrongDatabase);
}

TEST_F(Curves, AMTextKeepsItsLinesWhenItIsScaled)
{
    for (double factor : {25.4, 1.0 / 25.4, 0.7, 0.3, 1e-3}) {
        for (int letters = 3; letters < 40; ++letters) {
            const OdDbMTextPtr text = OdDbMText::createObject();
            OdString contents(L"a ");
            for (int index = 2; index < letters; ++index) {
                contents += L"b";
            }
            text->setContents(contents);
            text->setTextHeight(1.0);
            text->setWidth(letters);
            ASSERT_EQ(text->lines().size(), 1U);
            ASSERT_EQ(text->transformBy(OdGeMatrix3d::scaling(factor)), kOdOk);
            EXPECT_EQ(text->lines().size(), 1U) << factor << ", " << letters;
            text->setWidth(text->width() * 0.999);
            EXPECT_EQ(text->lines().size(), 2U) << factor << ", " << letters;
        }
    }
}

TEST_F(Curves, AnArcFarFromTheOriginIsTurnedOverWithItsAngles)
{
    for (double far : {1e7, 1e10, 1e17}) {
        const OdDbArcPtr arc = OdDbArc::createObject();
        arc->setCenter(OdGePoint3d(far, 0, 0));
        arc->setRadius(0.1);
        arc->setStartAngle(0.25);
        arc->setEndAngle(1.5);
        std::unique_ptr<OdGeCurve3d> curve;
        ASSERT_EQ(arc->getOdGeCurve(curve), kOdOk);
        ASSERT_EQ(arc->setFromOdGeCurve(*curve, &kDown), kOdOk);
        EXPECT_NEAR(arc->startAngle(), kPi - 1.5, 1e-12) << far;
        EXPECT_NEAR(arc->endAngle(), kPi - 0.25, 1e-12) << far;
    }
}

TEST_F(Curves, AWholeTurnStaysOneWhereverItStarts)
{
    for (int step = 0; step < 629; ++step) {
        const double angle = step * 0.01;
        std::unique_ptr<OdGeCurve3d> curve;
        const OdDbArcPtr arc = OdDbArc::createObject();
        arc->setStartAngle(angle);
        arc->setEndAngle(angle);
        ASSERT_EQ(arc->getOdGeCurve(curve), kOdOk);
        ASSERT_EQ(arc->setFromOdGeCurve(*curve, &kDown), kOdOk);
        EXPECT_EQ(arc->startAngle(), arc->endAngle()) << step;
        const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
        ellipse->set(OdGePoint3d(), OdGeVector3d::kZAxis, OdGeVector3d(2, 0, 0), 0.5, angle, angle);
        OdGeMatrix3d shear;
        shear(0, 1) = 1.0;
        ASSERT_EQ(ellipse->transformBy(shear), kOdOk);
        EXPECT_EQ(ellipse->startParam(), ellipse->endParam()) << step;
    }
}

TEST_F(Curves, AnArcIsDrawnAsFarAsItsCurveGoes)
{
    for (double more : {0.0, 1e-13, 1e-9, 1.0, -1e-9}) {
        const OdDbArcPtr arc = OdDbArc::createObject();
        arc->setStartAngle(1.0);
        arc->setEndAngle(1.0 + more);
        OdGeExtents3d extents;
        ASSERT_EQ(arc->getGeomExtents(extents), kOdOk);
        OdStaticRxObject<gitest::RecordingWorldDraw> draw;
        (void)arc->worldDraw(&draw);
        OdGeExtents3d drawn;
        for (OdGePoint3d const& point : draw.drawn.points) {
            drawn.addPoint(point);
        }
        EXPECT_TRUE(drawn.isEqualTo(extents, OdGeTol(1e-4))) << more;
    }
}

TEST_F(Curves, AnEllipseWhoseAxisIsALittleOffItsPlaneIsMovedAllTheSame)
{
    for (double factor : {10.0, 1e3, 1e7, 1e12}) {
        const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
        ellipse->set(OdGePoint3d(), OdGeVector3d::kZAxis, OdGeVector3d(1, 0, 5e-7), 0.5);
        EXPECT_EQ(ellipse->transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1, 1, factor))), kOdOk);
        EXPECT_TRUE(ellipse->majorAxis().isEqualTo(OdGeVector3d::kXAxis, OdGeTol(1e-6))) << factor;
        EXPECT_NEAR(ellipse->radiusRatio(), 0.5, 1e-6) << factor;
    }
}

TEST_F(Curves, ABulgeThatIsOnlyNoiseAddsNothingToTheExtents)
{
    for (double bulge : {1e-9, 1e-10, 1e-11, 2e-12}) {
        const OdDbPolylinePtr polyline = OdDbPolyline::createObject();
        polyline->addVertexAt(0, {{0.0, 0.0}, bulge, 0.0, 0.0});
        polyline->addVertexAt(1, {{1000.0, 333.0}, 0.0, 0.0, 0.0});
        OdGeExtents3d extents;
        ASSERT_EQ(polyline->getGeomExtents(extents), kOdOk);
        EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(), OdGePoint3d(1000, 333, 0)}, OdGeTol(1e-6)))
            << bulge;
        EXPECT_EQ(polyline->transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1, 2, 1))), kOdOk);
    }
}

/// Where the thickness of texts goes.
class TextRecorder : public gitest::RecordingGeometry
{
public:
    using RecordingGeometry::RecordingGeometry;
    OdGeVector3d normal;

    void text(OdGePoint3d const& /*position*/, OdGeVector3d const& drawnNormal,
              OdGeVector3d const& /*direction*/, double /*height*/, double /*widthFactor*/,
              double /*oblique*/, OdString const& /*text*/) override
    {
        normal = drawnNormal;
    }
};

class TextRecordingDraw : public gitest::RecordingWorldDraw
{
public:
    mutable OdStaticRxObject<TextRecorder> recorder{traits};
    OdGiGeometry& geometry() const override { return recorder; }
};

TEST_F(Curves, ExtrudedTextStandsOnTheSameSideAfterAMirror)
{
    for (bool isBackward : {false, true}) {
        const OdDbTextPtr text = OdDbText::createObject();
        text->setTextString(L"abc");
        text->setThickness(3.0);
        text->setMirroredInX(isBackward);
        for (int mirrors = 0; mirrors < 3; ++mirrors) {
            OdStaticRxObject<TextRecordingDraw> draw;
            (void)text->worldDraw(&draw);
            EXPECT_TRUE((draw.recorder.normal * draw.traits.state.thickness)
                            .isEqualTo(OdGeVector3d(0, 0, 3)))
                << mirrors;
            ASSERT_EQ(text->transformBy(OdGeMatrix3d::mirroring(OdGePlane::kYZPlane)), kOdOk);
        }
    }
}

TEST_F(Curves, AWideSegmentIsFilledAndGoesCounterclockwiseAboutTheNormal)
{
    for (double bulge : {0.0, 0.5, -0.5}) {
        const OdDbPolylinePtr polyline = OdDbPolyline::createObject();
        polyline->addVertexAt(0, {{0.0, 0.0}, bulge, 0.1, 0.2});
        polyline->addVertexAt(1, {{10.0, 0.0}, 0.0, 0.0, 0.0});
        OdStaticRxObject<gitest::RecordingWorldDraw> draw;
        (void)polyline->worldDraw(&draw);
        EXPECT_EQ(draw.traits.state.fillType, OdGiFillType::kFillAlways);
        std::vector<OdGePoint3d> const& points = draw.drawn.points;
        double doubledArea = 0.0;
        for (std::size_t index = 0; index < points.size(); ++index) {
            OdGePoint3d const& next = points[(index + 1) % points.size()];
            doubledArea += points[index].x * next.y - next.x * points[index].y;
        }
        EXPECT_GT(doubledArea, 0.0) << bulge;
    }
}

TEST_F(Curves, ArrowsAreFilled)
{
    const OdDbLeaderPtr leader = OdDbLeader::createObject();
    leader->appendVertex(OdGePoint3d());
    leader->appendVertex(OdGePoint3d(100, 0, 0));
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    (void)leader->worldDraw(&draw);
    EXPECT_EQ(draw.traits.state.fillType, OdGiFillType::kFillAlways);
    const OdDbAlignedDimensionPtr dimension = OdDbAlignedDimension::createObject();
    dimension->setXLine2Point(OdGePoint3d(100, 0, 0));
    OdStaticRxObject<gitest::RecordingWorldDraw> other;
    (void)dimension->worldDraw(&other);
    EXPECT_EQ(other.traits.state.fillType, OdGiFillType::kFillAlways);
}

TEST_F(Curves, AWideArcIsMeasuredAsFarAsItsInnerSideReachesBeyondTheCenter)
{
    const OdDbPolylinePtr polyline = OdDbPolyline::createObject();
    polyline->addVertexAt(0, {{1.0, 0.0}, std::tan(kPi * 0.3 / 4.0), 10.0, 10.0});
    polyline->addVertexAt(1, {{std::cos(kPi * 0.3), std::sin(kPi * 0.3)}, 0.0, 0.0, 0.0});
    polyline->transformBy(OdGeMatrix3d::rotation(-kPi * 0.13, OdGeVector3d::kZAxis));
    OdGeExtents3d extents;
    ASSERT_EQ(polyline->getGeomExtents(extents), kOdOk);
    EXPECT_NEAR(extents.minPoint().x, -4.0, 1e-9);
    EXPECT_NEAR(extents.maxPoint().x, 6.0, 1e-9);
}

TEST_F(Curves, TextInsideAnArcOfSmallRadiusIsMeasuredAsItIsDrawn)
{
    const OdDbArcAlignedTextPtr text = OdDbArcAlignedText::createObject();
    text->setTextString(L"abc");
    text->setRadius(1.0);
    text->setTextSize(3.0);
    text->setInward(true);
    text->setWidthFactor(0.01);
    OdGeExtents3d extents;
    ASSERT_EQ(text->getGeomExtents(extents), kOdOk);
    OdStaticRxObject<gitest::RecordingWorldDraw> draw;
    (void)text->worldDraw(&draw);
    for (OdGePoint3d const& point : draw.drawn.points) {
        EXPECT_TRUE(extents.contains(point, OdGeTol(0.02)));
    }
}

}  // namespace
