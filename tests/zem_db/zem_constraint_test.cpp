#include "model_test_support.h"
#include "zem_constraint.h"

namespace {

using namespace model_test;

using ConstraintPtr = OdSmartPtr<ZemConstraint>;

/// A constraint of form 3 with two links and the bag given.
Blob stored(int kind, Blob const& bag)
{
    return bytes({
               3,    0,                               // version
               1,    0, 'd',                          // name
               kind, 0, 0,   0,                       // kind
               7,    0, 0,   0,                       // auxiliary value
               0,    0, 0,   0, 0, 0,    0xF8, 0x3F,  // value 1.5
               2,    0, 0,   0, 0, 0x75, 0,    0,     // links: one, and none
               0,    0,                               // null
               1,                                     // enabled
           }) +
           bag;
}

Blob text(std::string const& characters)
{
    return bytes({static_cast<int>(characters.size()), 0}) +
           Blob(characters.begin(), characters.end());
}

Blob integer(char const* name, int value)
{
    return text(name) + bytes({3, value, 0, 0, 0});
}

Blob bag(int count, Blob const& entries)
{
    return bytes({count, 0, 0, 0}) + entries;
}

class Constraint : public ModelTest
{
protected:
    Blob filed(ZemConstraint const& constraint) const
    {
        HandleFiler filer(m_database.get());
        constraint.dwgOutFields(&filer);
        return filer.getBinaryData();
    }
    OdResult read(ZemConstraint& constraint, Blob const& data) const
    {
        HandleFiler filer(m_database.get());
        filer.setBinaryData(data.data(), static_cast<unsigned>(data.size()));
        OdResult result = kOdOk;
        const OdResult thrown = thrownCode([&] { result = constraint.dwgInFields(&filer); });
        return thrown != kOdOk ? thrown : result;
    }
    ConstraintPtr readNew(Blob const& data, OdResult expected = kOdOk) const
    {
        ConstraintPtr constraint = newConstraint();
        EXPECT_EQ(read(*constraint, data), expected);
        return constraint;
    }
    static ConstraintPtr newConstraint() { return ZemConstraint::desc()->create(); }
    static int softVersion(ZemConstraint const& constraint)
    {
        int version = 0;
        (void)constraint.properties().getProperty(L"softVersion", version);
        return version;
    }
};

const Blob kNodeBag = bag(1, integer("nodeId", 4));

}  // namespace

TEST_F(Constraint, IsFiledByteForByte)
{
    const Blob whole = stored(2, kNodeBag);
    const ConstraintPtr constraint = readNew(whole);
    EXPECT_EQ(constraint->name(), OdString(L"d"));
    EXPECT_EQ(constraint->type(), 2);
    EXPECT_EQ(constraint->userValue(), 1.5);
    EXPECT_EQ(constraint->nodeId(), 4u);
    EXPECT_TRUE(constraint->isEnabled());
    ASSERT_EQ(constraint->getArgumentsCount(), 2u);
    EXPECT_EQ(constraint->dependencies()[0].id.getHandle(), OdDbHandle(0x75));
    EXPECT_FALSE(constraint->dependencies()[0].isCsObject);
    EXPECT_TRUE(constraint->dependencies()[1].id.isNull());
    EXPECT_EQ(filed(*constraint), whole);
}

TEST_F(Constraint, MigratesFromTheFormWithABagOfTexts)
{
    Blob old = stored(2, bag(1, text("AngleSecondArgOrientation") + text("Negative")));
    old[0] = 2;
    const ConstraintPtr constraint = readNew(old);
    OdString orientations;
    EXPECT_TRUE(constraint->properties().getProperty(L"AngleArgsOrientation", orientations));
    EXPECT_EQ(orientations, OdString(L"+-+"));
    constraint->setNodeId(9);
    int nodeId = 0;
    EXPECT_TRUE(constraint->properties().getProperty(L"nodeId", nodeId));
    EXPECT_EQ(nodeId, 9);
}

TEST_F(Constraint, MigratesFromFormsWithoutABag)
{
    for (int version : {0, 1}) {
        Blob old = stored(2, Blob());
        old[0] = static_cast<char>(version);
        const ConstraintPtr constraint = readNew(old);
        EXPECT_EQ(constraint->type(), 2);
        EXPECT_EQ(constraint->nodeId(), 0u);
    }
}

TEST_F(Constraint, RefusesANewerForm)
{
    Blob newer = stored(2, kNodeBag);
    newer[0] = 4;
    (void)readNew(newer, kOdBadStream);
}

TEST_F(Constraint, RefusesAStreamCutAtEveryByte)
{
    const Blob whole = stored(2, kNodeBag);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        (void)readNew(Blob(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)),
                      kOdBadStream);
    }
}

TEST_F(Constraint, OfKindFifteenIsHiddenFromOlderReaders)
{
    const ConstraintPtr constraint = newConstraint();
    constraint->setType(15);
    EXPECT_EQ(softVersion(*constraint), 1);
    const Blob data = filed(*constraint);
    EXPECT_EQ(data[4], 0);
    int extended = 0;
    EXPECT_TRUE(constraint->properties().getProperty(L"exType", extended));
    EXPECT_EQ(extended, 15);
    const ConstraintPtr again = readNew(data);
    EXPECT_EQ(again->type(), 15);
    EXPECT_EQ(filed(*again), data);
}

TEST_F(Constraint, OfANewerSoftVersionIsUnknown)
{
    const ConstraintPtr constraint = readNew(
        stored(0, bag(3, integer("exType", 5) + integer("nodeId", 1) + integer("softVersion", 3))));
    EXPECT_EQ(constraint->type(), 0);
    EXPECT_FALSE(constraint->isSupportedVersion());
    constraint->setType(5);
    EXPECT_EQ(softVersion(*constraint), 3);
}

TEST_F(Constraint, WithAnUnknownExtendedKindStaysUnknown)
{
    const ConstraintPtr constraint =
        readNew(stored(0, bag(2, integer("exType", 16) + integer("softVersion", 2))));
    EXPECT_EQ(constraint->type(), 0);
}

TEST_F(Constraint, WithAMeasurementModeNeedsSoftVersionOne)
{
    const ConstraintPtr constraint = newConstraint();
    constraint->setType(3);
    EXPECT_EQ(softVersion(*constraint), 0);
    constraint->properties().setProperty(L"MM1", 2);
    constraint->signalModification(ZemConstraint::kChangeComplete);
    EXPECT_EQ(softVersion(*constraint), 1);
    constraint->removeProperty(L"MM1");
    EXPECT_EQ(softVersion(*constraint), 0);
    EXPECT_TRUE(constraint->properties().getProperty(L"exType").isNull());
    constraint->removeProperty(L"MM1");
}

TEST_F(Constraint, WithAPartOfACoordinateSystemNeedsSoftVersionTwo)
{
    const ConstraintPtr constraint = newConstraint();
    constraint->setType(3);
    constraint->setDependencies({{m_line, false, kCsNone}, {OdDbObjectId(), true, kCsYAxis}});
    EXPECT_EQ(softVersion(*constraint), 2);
    const ConstraintPtr again = readNew(filed(*constraint));
    EXPECT_EQ(again->type(), 3);
    ASSERT_EQ(again->getArgumentsCount(), 2u);
    EXPECT_FALSE(again->dependencies()[0].isCsObject);
    EXPECT_EQ(again->dependencies()[1].csType, kCsYAxis);
    constraint->setDependencies({{m_line, false, kCsNone}});
    EXPECT_EQ(softVersion(*constraint), 0);
    EXPECT_TRUE(constraint->properties().getProperty(L"arrayRefCsType").isNull());
}

TEST_F(Constraint, IsNotValidWithALinkThatCantBeResolved)
{
    const OdDbObjectId link = addLink(face(m_line, 1));
    const ConstraintPtr constraint = newConstraint();
    constraint->setDependencies({{link, false, kCsNone}, {OdDbObjectId(), true, kCsYAxis}});
    EXPECT_TRUE(constraint->isValid());
    EXPECT_EQ(constraint->getArguments().front(), face(m_line, 1));
    erase(m_line);
    EXPECT_FALSE(constraint->isValid());
    constraint->setDependencies({{OdDbObjectId(), false, kCsNone}});
    EXPECT_FALSE(constraint->isValid());
}

TEST_F(Constraint, HasNoValueWithoutAManager)
{
    const ConstraintPtr constraint = newConstraint();
    constraint->setUserValue(2.0);
    constraint->createVariable();
    EXPECT_EQ(constraint->userValue(), 0.0);
    EXPECT_TRUE(constraint->userVariable().isNull());
    EXPECT_EQ(constraint->database(), nullptr);
}
