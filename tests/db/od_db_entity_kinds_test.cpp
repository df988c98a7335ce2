// What holds for every kind of entity: filing, moving, mirroring, measuring, drawing, undo.

#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "ge/od_ge_plane.h"
#include "support/entity_samples.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

using namespace dbtest;

namespace {

constexpr double kNear = 1e-6;

/// The points that an entity draws.
std::vector<OdGePoint3d> drawnBy(OdDbEntity const& entity)
{
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    worldDraw.drawn.draw(&entity);
    EXPECT_EQ(worldDraw.drawn.transformDepth(), 0U);
    return worldDraw.drawn.points;
}

/// The greatest distance of a point of one list from the nearest of the other.
double distanceOf(std::vector<OdGePoint3d> const& from, std::vector<OdGePoint3d> const& to)
{
    double greatest = 0.0;
    for (OdGePoint3d const& point : from) {
        double least = HUGE_VAL;
        for (OdGePoint3d const& other : to) {
            least = std::min(least, point.distanceTo(other));
        }
        greatest = std::max(greatest, least);
    }
    return greatest;
}

struct MatrixCase
{
    char const* name;
    OdGeMatrix3d matrix;
    bool isSimilar;
    bool isReversing;
};

std::vector<MatrixCase> matrixCases()
{
    const OdGePoint3d center(3.0, -2.0, 1.0);
    const OdGeVector3d axis(1.0, 2.0, -1.0);
    const OdGeMatrix3d turn = OdGeMatrix3d::rotation(1.1, axis, center);
    const OdGeMatrix3d mirror = OdGeMatrix3d::mirroring(OdGePlane(center, axis));
    OdGeMatrix3d shear;
    shear(0, 1) = 0.5;
    shear(2, 0) = 0.25;
    return {
        {"nothing", OdGeMatrix3d(), true, false},
        {"move", OdGeMatrix3d::translation(axis), true, false},
        {"turn", turn, true, false},
        {"scale", OdGeMatrix3d::scaling(2.5, center) * turn, true, false},
        {"mirror", mirror, true, true},
        {"mirror at the ground", OdGeMatrix3d::mirroring(OdGePlane::kXYPlane), true, true},
        {"mirror at the side", OdGeMatrix3d::mirroring(OdGePlane::kYZPlane), true, true},
        {"mirror at a point, scaled", OdGeMatrix3d::scaling(-0.5, center) * turn, true, true},
        {"unequal scale", OdGeMatrix3d::scaling(OdGeScale3d(2.0, 0.5, 3.0), center), false, false},
        {"shear", shear * turn, false, false},
    };
}

class EntityKinds : public DatabaseTest
{
protected:
    std::vector<EntitySample> m_samples = sampleEntities(*m_db);

    void TearDown() override
    {
        m_samples.clear();
        DatabaseTest::TearDown();
    }
    OdDbEntityPtr appended(EntitySample const& sample)
    {
        OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(sample.entity.get());
        return sample.entity;
    }
};

TEST_F(EntityKinds, AreTheSameAfterWritingAndReading)
{
    for (EntitySample const& sample : m_samples) {
        const auto bytes = bytesOf(*sample.entity);
        const OdDbEntityPtr copy = OdRxObjectPtr(sample.entity->isA()->create());
        EXPECT_NE(bytesOf(*copy), bytes) << sample.name << " has nothing but defaults";
        OdStaticRxObject<OdDbMemoryFiler> filer;
        filer.readFrom(bytes);
        ASSERT_EQ(copy->dwgInFields(&filer), kOdOk) << sample.name;
        EXPECT_EQ(filer.bytesLeft(), 0U) << sample.name;
        EXPECT_EQ(bytesOf(*copy), bytes) << sample.name;
    }
}

TEST_F(EntityKinds, DrawTheImageOfWhatTheyDrewBeforeTheMove)
{
    for (EntitySample const& sample : m_samples) {
        for (MatrixCase const& row : matrixCases()) {
            const OdDbEntityPtr moved = OdRxObjectPtr(sample.entity->clone());
            std::vector<OdGePoint3d> expected = drawnBy(*moved);
            const auto before = bytesOf(*moved);
            const OdResult result = moved->transformBy(row.matrix);
            if (result != kOdOk) {
                EXPECT_EQ(result, kOdNotApplicable) << sample.name << ", " << row.name;
                EXPECT_EQ(bytesOf(*moved), before) << sample.name << ", " << row.name;
                const bool isWindow = sample.name == "Viewport";
                EXPECT_TRUE(isWindow || !row.isSimilar) << sample.name << ", " << row.name;
                continue;
            }
            for (OdGePoint3d& point : expected) {
                point = row.matrix * point;
            }
            const std::vector<OdGePoint3d> found = drawnBy(*moved);
            // The same curve may be sampled at other places.
            const double allowed = !row.isSimilar ? 0.25 : sample.name == "Circle" ? 0.05 : kNear;
            EXPECT_LE(distanceOf(expected, found), allowed) << sample.name << ", " << row.name;
            EXPECT_LE(distanceOf(found, expected), allowed) << sample.name << ", " << row.name;
        }
    }
}

TEST_F(EntityKinds, KeepTheirNormalOnTheSideToWhichTheMatrixTakesIt)
{
    int kinds = 0;
    for (EntitySample const& sample : m_samples) {
        const OdGeVector3d before = normalOf(*sample.entity);
        if (before.isZeroLength()) {
            continue;
        }
        ++kinds;
        for (MatrixCase const& row : matrixCases()) {
            const OdDbEntityPtr moved = OdRxObjectPtr(sample.entity->clone());
            if (moved->transformBy(row.matrix) != kOdOk) {
                continue;
            }
            const OdGeVector3d after = normalOf(*moved);
            EXPECT_NEAR(after.length(), 1.0, 1e-12) << sample.name << ", " << row.name;
            EXPECT_GT(after.dotProduct(row.matrix * before), 0.0)
                << sample.name << ", " << row.name;
            if (row.isSimilar) {
                EXPECT_TRUE(after.isCodirectionalTo(row.matrix * before, OdGeTol(1e-9)))
                    << sample.name << ", " << row.name;
            }
        }
    }
    EXPECT_EQ(kinds, 15);  // fourteen, one of them with two classes
}

TEST_F(EntityKinds, HaveExtentsAroundAllThatTheyDraw)
{
    for (EntitySample const& sample : m_samples) {
        OdGeExtents3d extents;
        const OdResult result = sample.entity->getGeomExtents(extents);
        if (sample.name == "Solid") {
            EXPECT_EQ(result, kOdNotApplicable);
            continue;
        }
        ASSERT_EQ(result, kOdOk) << sample.name;
        ASSERT_TRUE(extents.isValidExtents()) << sample.name;
        if (sample.name.find("Dimension") != std::string::npos) {
            continue;  // text and arrows don't count
        }
        for (OdGePoint3d const& point : drawnBy(*sample.entity)) {
            ASSERT_TRUE(extents.contains(point, OdGeTol(kNear))) << sample.name;
        }
    }
}

TEST_F(EntityKinds, RefuseMatricesThatFlattenSpaceOrAreNoNumbersAndStayAsTheyAre)
{
    OdGeMatrix3d flat;
    flat(2, 2) = 0.0;
    OdGeMatrix3d perspective;
    perspective(3, 0) = 0.5;
    OdGeMatrix3d notANumber;
    notANumber(1, 1) = std::numeric_limits<double>::quiet_NaN();
    OdGeMatrix3d endless;
    endless(0, 3) = std::numeric_limits<double>::infinity();
    for (EntitySample const& sample : m_samples) {
        const auto before = bytesOf(*sample.entity);
        for (OdGeMatrix3d const& matrix : {flat, perspective, notANumber, endless}) {
            EXPECT_EQ(sample.entity->transformBy(matrix), kOdNotApplicable) << sample.name;
            EXPECT_EQ(bytesOf(*sample.entity), before) << sample.name;
        }
    }
}

TEST_F(EntityKinds, AreMovedBackByUndoAndForthByRedo)
{
    for (EntitySample const& sample : m_samples) {
        const OdDbEntityPtr entity = appended(sample);
        const auto before = bytesOf(*entity);
        m_db->startUndoRecord();
        ASSERT_EQ(entity->transformBy(OdGeMatrix3d::translation(OdGeVector3d(1, 2, 3))), kOdOk);
        const auto after = bytesOf(*entity);
        EXPECT_NE(after, before) << sample.name;
        ASSERT_EQ(m_db->undo(), kOdOk);
        EXPECT_EQ(bytesOf(*entity), before) << sample.name;
        ASSERT_EQ(m_db->redo(), kOdOk);
        EXPECT_EQ(bytesOf(*entity), after) << sample.name;
    }
}

TEST_F(EntityKinds, DrawWithTheirProperties)
{
    for (EntitySample const& sample : m_samples) {
        OdStaticRxObject<gitest::RecordingTraits> traits;
        EXPECT_EQ(sample.entity->setAttributes(&traits), unsigned{kDrawableIsInvisible});
        EXPECT_EQ(traits.trueColor(), OdCmEntityColor(10, 20, 30)) << sample.name;
        EXPECT_EQ(traits.layer(), m_db->getLayerZeroId()) << sample.name;
        EXPECT_EQ(traits.lineType(), m_db->getLinetypeByBlockId()) << sample.name;
        EXPECT_EQ(traits.lineTypeScale(), 0.5) << sample.name;
        EXPECT_EQ(traits.lineWeight(), 35) << sample.name;
        EXPECT_EQ(traits.transparency(), OdCmTransparency(0.5)) << sample.name;
        EXPECT_EQ(traits.material(), sample.entity->materialId()) << sample.name;
    }
}

}  // namespace
