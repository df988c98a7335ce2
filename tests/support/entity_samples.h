// One entity of every kind, with something in each field.

#pragma once

#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_dimension.h"
#include "db/od_db_hatch.h"
#include "db/od_db_material.h"
#include "db/od_db_polylines.h"
#include "db/od_db_text.h"
#include "db/od_db_viewport.h"
#include "db/od_db_visual_style.h"

#include <string>
#include <utility>
#include <vector>

namespace dbtest {

struct EntitySample
{
    std::string name;
    OdDbEntityPtr entity;
};

namespace samples {

inline const OdGeVector3d kTilted(2.0, -3.0, 6.0);  // of length 7
inline const OdGePoint3d kSomewhere(10.0, 20.0, 30.0);

/// What was put under a name before, or a new object there.
template <class T>
inline OdDbObjectId named(OdDbObjectId dictionary, wchar_t const* name)
{
    const OdDbDictionaryPtr holder = dictionary.safeOpenObject(OdDb::kForWrite);
    const OdDbObjectId present = holder->getAt(name);
    return present.isNull() ? holder->setAt(name, T::createObject().get()) : present;
}

inline OdDbObjectId sampleBlock(OdDbDatabase& db)
{
    const OdDbBlockTablePtr table = db.getBlockTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbObjectId present = table->getAt(L"Sample");
    if (!present.isNull()) {
        return present;
    }
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"Sample");
    block->setOrigin(OdGePoint3d(1.0, 1.0, 0.0));
    const OdDbObjectId id = table->add(block.get());
    const OdDbLinePtr line = OdDbLine::createObject();
    line->setEndPoint(OdGePoint3d(4.0, 2.0, 1.0));
    block->appendOdDbEntity(line.get());
    return id;
}

inline OdDbPolylineVertexArray sampleVertices()
{
    OdDbPolylineVertexArray vertices;
    vertices.append({{0.0, 0.0}, 0.0, 0.0, 0.0});
    vertices.append({{5.0, 0.0}, 0.5, 0.25, 0.25});
    vertices.append({{5.0, 4.0}, -0.3, 0.0, 0.0});
    vertices.append({{-1.0, 3.0}, 0.0, 0.0, 0.0});
    return vertices;
}

inline OdGePoint3dArray samplePath()
{
    // In the tilted plane through the point.
    const OdGeMatrix3d plane = OdGeMatrix3d::translation(kSomewhere.asVector()) *
                               OdGeMatrix3d::planeToWorld(kTilted / 7.0);
    OdGePoint3dArray points;
    points.append(plane * OdGePoint3d(0.0, 0.0, 0.0));
    points.append(plane * OdGePoint3d(6.0, 1.0, 0.0));
    points.append(plane * OdGePoint3d(7.0, 5.0, 0.0));
    return points;
}

inline OdDbEntityPtr sampleHatch()
{
    OdDbHatchPtr hatch = OdDbHatch::createObject();
    hatch->setNormal(kTilted);
    hatch->setElevation(2.5);
    OdDbHatchLoop outer;
    outer.flags = OdDbHatchLoop::kExternal;
    for (OdDbPolylineVertex vertex : sampleVertices()) {
        vertex.startWidth = vertex.endWidth = 0.0;
        outer.vertices.append(vertex);
    }
    OdDbHatchLoop inner;
    inner.edges.append(OdDbHatchEdge::line({1.0, 1.0}, {3.0, 1.0}));
    inner.edges.append(OdDbHatchEdge::arc({2.0, 1.0}, {1.0, 0.0}, {0.0, 0.5}, 0.0, 3.14));
    hatch->appendLoop(outer);
    hatch->appendLoop(inner);
    OdDbHatchPatternLine line;
    line.angle = 0.5;
    line.base = {0.1, 0.2};
    line.offset = {-0.2, 0.7};
    line.dashes.append(0.5);
    line.dashes.append(-0.25);
    OdArray<OdDbHatchPatternLine> lines;
    lines.append(line);
    hatch->setPattern(L"LINES", lines);
    return hatch;
}

template <class Polyline>
OdSmartPtr<Polyline> samplePolyline()
{
    OdSmartPtr<Polyline> polyline = Polyline::createObject();
    polyline->setVertices(sampleVertices());
    polyline->setClosed(true);
    polyline->setPlinegen(true);
    polyline->setNormal(kTilted);
    polyline->setElevation(-4.0);
    polyline->setThickness(1.5);
    return polyline;
}

template <class Dimension>
OdSmartPtr<Dimension> sampleDimension()
{
    OdSmartPtr<Dimension> dimension = Dimension::createObject();
    const OdGePoint3dArray path = samplePath();
    dimension->setNormal(kTilted);
    dimension->setXLine1Point(path.getAt(0));
    dimension->setXLine2Point(path.getAt(1));
    dimension->setDimLinePoint(path.getAt(2));
    dimension->setTextPosition(path.getAt(2));
    dimension->setDimensionText(L"about 6 mm");
    dimension->setTextHeight(0.5);
    dimension->setArrowSize(0.25);
    return dimension;
}

inline OdDbEntityPtr sampleText()
{
    OdDbTextPtr text = OdDbText::createObject();
    text->setTextString(L"Gr\x00F6\x00DF"
                        L"e");
    text->setPosition(kSomewhere);
    text->setNormal(kTilted);
    text->setHeight(2.0);
    text->setWidthFactor(0.75);
    text->setRotation(0.5);
    text->setOblique(0.25);
    text->setThickness(1.0);
    text->setHorizontalMode(OdDbText::HorizontalMode::kRight);
    text->setVerticalMode(OdDbText::VerticalMode::kMiddle);
    text->setMirroredInX(true);
    return text;
}

inline OdDbEntityPtr sampleMText()
{
    OdDbMTextPtr text = OdDbMText::createObject();
    text->setContents(L"one two\\Pthree");
    text->setLocation(kSomewhere);
    text->setNormal(kTilted);
    text->setRotation(0.75);
    text->setTextHeight(0.5);
    text->setWidth(2.0);
    text->setLineSpacingFactor(1.25);
    text->setAttachment(OdDbMText::Attachment::kMiddleRight);
    text->setMirrored(true);
    return text;
}

inline OdDbEntityPtr sampleArcText()
{
    OdDbArcAlignedTextPtr text = OdDbArcAlignedText::createObject();
    text->setTextString(L"round");
    text->setCenter(kSomewhere);
    text->setNormal(kTilted);
    text->setRadius(8.0);
    text->setStartAngle(0.25);
    text->setEndAngle(2.0);
    text->setTextSize(1.5);
    text->setWidthFactor(0.5);
    text->setInward(true);
    text->setMirrored(true);
    return text;
}

inline OdDbEntityPtr sampleViewport(OdDbDatabase& db)
{
    OdDbViewportPtr viewport = OdDbViewport::createObject();
    viewport->setNumber(2);
    viewport->setOn(false);
    viewport->setCenterPoint(kSomewhere);
    viewport->setWidth(40.0);
    viewport->setHeight(30.0);
    viewport->setViewDirection(kTilted);
    viewport->setViewTarget(OdGePoint3d(1.0, 2.0, 3.0));
    viewport->setTwistAngle(0.5);
    viewport->setViewCenter(OdGePoint2d(5.0, 6.0));
    viewport->setViewHeight(300.0);
    viewport->setVisualStyleId(
        named<OdDbVisualStyle>(db.getVisualStyleDictionaryId(true), L"Sample"));
    return viewport;
}

inline OdDbEntityPtr sampleSolid()
{
    OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    OdBinaryData body;
    for (std::uint8_t byte = 0; byte < 5; ++byte) {
        body.append(byte);
    }
    solid->setBody(L"format", body, {6, 12, 8});
    solid->setLabel(L"box");
    solid->setPlacement(OdGeMatrix3d::translation(kSomewhere.asVector()));
    return solid;
}

}  // namespace samples

/// Gives an entity properties that differ from those it starts with.
inline void giveProperties(OdDbDatabase& db, OdDbEntity& entity)
{
    using namespace samples;
    entity.setLayer(db.getLayerZeroId());
    entity.setColor(OdCmEntityColor(10, 20, 30));
    entity.setMaterial(named<OdDbMaterial>(db.getMaterialDictionaryId(true), L"Sample"));
    entity.setLinetype(db.getLinetypeByBlockId());
    entity.setLinetypeScale(0.5);
    entity.setLineWeight(35);
    entity.setTransparency(OdCmTransparency(0.5));
    entity.setVisible(false);
}

/// Entities outside any database, which refer to objects of `db`. Their planes are tilted, and they
/// lie off the origin.
inline std::vector<EntitySample> sampleEntities(OdDbDatabase& db)
{
    using namespace samples;
    std::vector<EntitySample> samples;
    const auto add = [&](char const* name, OdDbEntityPtr const& entity) {
        giveProperties(db, *entity);
        samples.push_back({name, entity});
    };

    const OdDbPointPtr point = OdDbPoint::createObject();
    point->setPosition(kSomewhere);
    point->setNormal(kTilted);
    point->setThickness(2.0);
    point->setEcsRotation(0.5);
    add("Point", point);

    const OdDbLinePtr line = OdDbLine::createObject();
    line->setStartPoint(kSomewhere);
    line->setEndPoint(OdGePoint3d(1.0, 2.0, 3.0));
    line->setNormal(kTilted);
    line->setThickness(2.0);
    add("Line", line);

    const OdDbCirclePtr circle = OdDbCircle::createObject();
    circle->setCenter(kSomewhere);
    circle->setRadius(5.0);
    circle->setNormal(kTilted);
    circle->setThickness(2.0);
    add("Circle", circle);

    const OdDbArcPtr arc = OdDbArc::createObject();
    arc->setCenter(kSomewhere);
    arc->setRadius(5.0);
    arc->setNormal(kTilted);
    arc->setThickness(2.0);
    arc->setStartAngle(0.5);
    arc->setEndAngle(2.5);
    add("Arc", arc);

    const OdDbEllipsePtr ellipse = OdDbEllipse::createObject();
    const OdGeVector3d normal = kTilted / 7.0;
    ellipse->set(kSomewhere, normal, normal.perpVector() * 4.0, 0.5, 0.5, 4.0);
    add("Ellipse", ellipse);

    add("Polyline", samplePolyline<OdDbPolyline>());
    const OdDb2dPolylinePtr older = samplePolyline<OdDb2dPolyline>();
    older->setPolyType(OdDb2dPolyline::Type::kQuadSpline);
    add("Polyline2d", older);

    const OdDbMlinePtr mline = OdDbMline::createObject();
    mline->setVertices(samplePath());
    OdDbMline::Elements elements;
    elements.append({0.5, OdCmEntityColor(1, 2, 3), db.getLinetypeContinuousId()});
    elements.append({-0.25, OdCmEntityColor(), OdDbObjectId::kNull});
    mline->setElements(elements);
    mline->setScale(2.0);
    mline->setJustification(OdDbMline::Justification::kTop);
    mline->setNormal(kTilted);
    add("Mline", mline);

    const OdDbLeaderPtr leader = OdDbLeader::createObject();
    leader->setVertices(samplePath());
    leader->setArrowSize(0.5);
    leader->setNormal(kTilted);
    add("Leader", leader);

    add("Text", sampleText());
    add("MText", sampleMText());
    add("ArcAlignedText", sampleArcText());
    add("Hatch", sampleHatch());
    add("AlignedDimension", sampleDimension<OdDbAlignedDimension>());
    const OdDbRotatedDimensionPtr rotated = sampleDimension<OdDbRotatedDimension>();
    rotated->setRotation(0.25);
    add("RotatedDimension", rotated);

    const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject();
    reference->setBlockTableRecord(sampleBlock(db));
    reference->setPosition(kSomewhere);
    reference->setNormal(kTilted);
    reference->setRotation(0.5);
    reference->setScaleFactors(OdGeScale3d(-2.0, 2.0, 2.0));
    add("BlockReference", reference);

    add("Viewport", sampleViewport(db));
    add("Solid", sampleSolid());
    return samples;
}

namespace samples {

template <class T>
bool takeNormal(OdDbEntity const& entity, OdGeVector3d& normal)
{
    const OdSmartPtr<T> typed = T::cast(&entity);
    if (typed.isNull()) {
        return false;
    }
    normal = typed->normal();
    return true;
}

}  // namespace samples

/// The normal of an entity of one of the plane kinds; the zero vector for others.
inline OdGeVector3d normalOf(OdDbEntity const& entity)
{
    using namespace samples;
    OdGeVector3d normal;
    (void)(takeNormal<OdDb2dPolyline>(entity, normal) || takeNormal<OdDbArc>(entity, normal) ||
           takeNormal<OdDbArcAlignedText>(entity, normal) ||
           takeNormal<OdDbCircle>(entity, normal) || takeNormal<OdDbDimension>(entity, normal) ||
           takeNormal<OdDbEllipse>(entity, normal) || takeNormal<OdDbHatch>(entity, normal) ||
           takeNormal<OdDbLeader>(entity, normal) || takeNormal<OdDbLine>(entity, normal) ||
           takeNormal<OdDbMText>(entity, normal) || takeNormal<OdDbMline>(entity, normal) ||
           takeNormal<OdDbPoint>(entity, normal) || takeNormal<OdDbPolyline>(entity, normal) ||
           takeNormal<OdDbText>(entity, normal));
    return normal;
}

}  // namespace dbtest
