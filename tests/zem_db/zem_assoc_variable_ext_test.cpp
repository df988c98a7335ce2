#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_xrecord.h"
#include "root/od_error.h"
#include "root/od_res_buf.h"
#include "root/root_test_support.h"
#include "store/od_db_drawing.h"
#include "support/zem_module_scope.h"

#include "zem_database_utils.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_feature_manager.h"
#include "zem_db_sheet_metal_context.h"
#include "zem_db_variable_reactor.h"
#include "zem_db_variable_utils.h"
#include "zem_properties.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Ext = ZemAssocVariableExt;
using Measurement = ZemAssocVariableExt::Measurement;
using Units = OdDb::UnitsValue;

class Kinds : public ZemDbConstraintManagerPE
{
public:
    bool isParametric(ZemConstraint const*) const override { return true; }
    bool isLinearDimension(ZemConstraint const*) const override { return m_isLinear; }
    bool isAngularDimension(ZemConstraint const*) const override { return !m_isLinear; }
    OdString generateConstraintName(ZemDbConstraintManager const*,
                                    ZemConstraint const*) const override
    {
        return OdString();
    }

    bool m_isLinear = true;
};

using Bytes = std::vector<std::uint8_t>;

constexpr int kChunkCode = 1004;

/// What a variable that is exposed, measures a volume and keeps an expression stores.
const Bytes kBag = {
    0x03, 0x00, 0x00, 0x00,                                      // three items
    0x06, 0x00, 0x65, 0x78, 0x70, 0x6F, 0x73, 0x65,              // "expose"
    0x05, 0x01,                                                  // a bool: true
    0x08, 0x00, 0x6F, 0x72, 0x69, 0x67, 0x45, 0x78, 0x70, 0x72,  // "origExpr"
    0x02, 0x03, 0x00, 0x32, 0x2A, 0x33,                          // a text: "2*3"
    0x05, 0x00, 0x75, 0x6E, 0x69, 0x74, 0x73,                    // "units"
    0x03, 0x03, 0x00, 0x00, 0x00,                                // an int: 3
};

/// What a variable with a custom unit stores.
const Bytes kCustomUnit = {
    0x01, 0x00, 0x00, 0x00,                          // one item
    0x05, 0x00, 0x75, 0x6E, 0x69, 0x74, 0x73,        // "units"
    0x02, 0x05, 0x00, 0x6B, 0x4E, 0x2F, 0x6D, 0x6D,  // a text: "kN/mm"
};

/// The path of a drawing, whose folder goes with this object.
class TemporaryDrawing
{
public:
    TemporaryDrawing() { std::filesystem::create_directory(m_folder); }
    TemporaryDrawing(TemporaryDrawing const&) = delete;
    TemporaryDrawing& operator=(TemporaryDrawing const&) = delete;
    ~TemporaryDrawing() { std::filesystem::remove_all(m_folder); }

    OdString path() const { return OdString((m_folder / "drawing.zdw").c_str()); }

private:
    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("variable_ext_" + std::to_string(::getpid()));
};

/// A host that converts every custom unit by one factor.
class CustomUnits : public ZemCVUnitInterface
{
public:
    int convertUnits(OdString const& from, OdString const& to, double& factor) override
    {
        m_calls.push_back(from + L"->" + to);
        factor *= m_factor;
        return m_result;
    }
    OdString formatMeasurement(Measurement const& measurement) override
    {
        return OdString().format(L"%g %ls", measurement.value, measurement.unitsString.c_str());
    }

    std::vector<OdString> m_calls;
    double m_factor = 5.0;
    int m_result = 0;
};

/// The host's units for as long as a test asks for them.
class AttachedUnits
{
public:
    AttachedUnits() { OdDbAssocVariable::desc()->addX(ZemCVUnitInterface::desc(), m_units.get()); }
    AttachedUnits(AttachedUnits const&) = delete;
    AttachedUnits& operator=(AttachedUnits const&) = delete;
    ~AttachedUnits() { OdDbAssocVariable::desc()->delX(ZemCVUnitInterface::desc()); }

    CustomUnits* operator->() const { return m_units.get(); }

private:
    OdSmartPtr<CustomUnits> m_units = odrxMake<OdRxObjectImpl<CustomUnits>>();
};

class VariableExtension : public testing::Test
{
protected:
    VariableExtension() { m_database->setINSUNITS(Units::kUnitsMillimeters); }

    OdDbAssocVariablePtr variable(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return m_id.openObject(mode);
    }
    OdSmartPtr<Ext> extension() const { return Ext::cast(variable()); }

    void store(OdString const& key, OdString const& text)
    {
        const OdSmartPtr<Ext> ext = extension();
        ext->data().setProperty(key, text);
        ext->writeData();
    }

    /// The chunks of the variable's extended data, one behind the other.
    Bytes storedBytes() const
    {
        Bytes bytes;
        for (OdResBufPtr at = variable()->xData(L"ZEM_DB"); !at.isNull(); at = at->next()) {
            if (at->restype() == kChunkCode) {
                const OdBinaryData chunk = at->getBinaryChunk();
                bytes.insert(bytes.end(), chunk.begin(), chunk.end());
            }
        }
        return bytes;
    }
    void storeBytes(Bytes const& bytes)
    {
        m_database->newRegApp(L"ZEM_DB");
        const OdResBufPtr chain = OdResBuf::newRb(1001);
        chain->setString(L"ZEM_DB");
        const OdResBufPtr chunk = OdResBuf::newRb(kChunkCode);
        OdBinaryData data;
        data.insert(data.end(), bytes.begin(), bytes.end());
        chunk->setBinaryChunk(data);
        chain->setNext(chunk.get());
        variable(OdDb::kForWrite)->setXData(chain.get());
    }

    /// Makes the variable drive a constraint.
    OdSmartPtr<Kinds> constrain(bool isLinear)
    {
        const OdSmartPtr<Kinds> kinds = odrxMake<OdRxObjectImpl<Kinds>>();
        kinds->m_isLinear = isLinear;
        ZemDbConstraintManager::desc()->addX(ZemDbConstraintManagerPE::desc(), kinds.get());
        const OdDbObjectId manager =
            zemu::getObjInExtDict(m_block, kZemDatabaseKey, ZemDbConstraintManager::desc());
        const OdSmartPtr<ZemConstraint> constraint = ZemConstraint::desc()->create();
        constraint->properties().setProperty(L"assocVar", m_id,
                                             OdDb::ReferenceType::kSoftPointerRef);
        OdSmartPtr<ZemDbConstraintManager>(manager.openObject(OdDb::kForWrite))
            ->addConstraint(constraint);
        variable(OdDb::kForWrite)
            ->addPersistentReactor(
                m_database->addOdDbObject(odrxMake<ZemDbVariableReactor>().get(), manager));
        return kinds;
    }

    /// Makes the variable the thickness of the block's sheet metal.
    OdDbObjectId makeThickness()
    {
        const OdDbObjectId managerId = ZemDbFeatureManager::getInstance(m_block, true);
        const OdSmartPtr<ZemDbSheetMetalContext> context = ZemDbSheetMetalContext::desc()->create();
        const OdDbObjectId contextId = m_database->addOdDbObject(context.get(), managerId);
        context->getWriteProperties().setProperty(L"ThicknessVar", m_id,
                                                  OdDb::ReferenceType::kSoftPointerRef);
        const OdSmartPtr<ZemDbFeatureManager> manager = managerId.openObject(OdDb::kForWrite);
        manager->getWriteProperties().setProperty(L"SheetMetalContext", contextId,
                                                  OdDb::ReferenceType::kHardOwnershipRef);
        return contextId;
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_block = m_database->getModelSpaceId();
    OdDbObjectId m_id = zemu::getAssocVariable(m_block, L"a", /*create=*/true);
};

Measurement measure(double value, int type, Units units, OdString const& text)
{
    Measurement measurement;
    measurement.value = value;
    measurement.type = type;
    measurement.units = units;
    measurement.unitsString = text;
    return measurement;
}

}  // namespace

TEST_F(VariableExtension, ANullVariableHasNone)
{
    EXPECT_TRUE(Ext::cast(static_cast<OdDbAssocVariable*>(nullptr)).isNull());
    EXPECT_TRUE(Ext::cast(OdDbAssocVariablePtr()).isNull());
}

TEST_F(VariableExtension, EachCastMakesOneThatReadsAnew)
{
    const OdSmartPtr<Ext> first = Ext::cast(variable().get());
    const OdSmartPtr<Ext> second = extension();
    EXPECT_NE(first.get(), second.get());
    EXPECT_FALSE(second->isExposed());
    first->setExposed(true);
    EXPECT_FALSE(second->isExposed());
    EXPECT_TRUE(extension()->isExposed());
}

TEST_F(VariableExtension, ExposureIsOffUntilItIsSet)
{
    EXPECT_FALSE(extension()->isOverriddenExpose());
    EXPECT_FALSE(extension()->isExposed());
    extension()->setExposed(false);
    EXPECT_TRUE(extension()->isOverriddenExpose());
    EXPECT_FALSE(extension()->isExposed());
    extension()->setExposed(true);
    EXPECT_TRUE(extension()->isExposed());
    extension()->setDefaultExpose();
    EXPECT_FALSE(extension()->isOverriddenExpose());
    EXPECT_FALSE(extension()->isExposed());
    EXPECT_TRUE(variable()->xData(L"ZEM_DB").isNull());
}

TEST_F(VariableExtension, AChangeRaisesTheVariableToWriteAndGoesWithUndo)
{
    m_database->startUndoRecord();
    {
        const OdDbAssocVariablePtr held = variable();
        Ext::cast(held)->setExposed(true);
        EXPECT_FALSE(held->isWriteEnabled());
    }
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(extension()->isOverriddenExpose());
}

TEST_F(VariableExtension, ItsBagIsStoredByItsKeys)
{
    extension()->setExposed(true);
    extension()->setMeasurementType(2);
    extension()->storeExpression();
    ZemProperties stored;
    ASSERT_TRUE(stored.readFromDbObject(variable().get()));
    std::vector<OdString> keys;
    for (auto const& [key, value] : stored) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<OdString>{L"expose", L"origExpr", L"units"}));
    int type = 0;
    EXPECT_TRUE(stored.getProperty(L"units", type));
    EXPECT_EQ(type, 2);
    OdString expression;
    EXPECT_TRUE(stored.getProperty(L"origExpr", expression));
    EXPECT_EQ(expression, L"1");
}

TEST_F(VariableExtension, ItsBagIsStoredByteForByte)
{
    extension()->setExposed(true);
    extension()->setMeasurementType(3);
    EXPECT_EQ(variable(OdDb::kForWrite)->setExpression(L"2*3"), kOdOk);
    extension()->storeExpression();
    EXPECT_EQ(storedBytes(), kBag);
}

TEST_F(VariableExtension, IsReadFromTheStoredBytes)
{
    storeBytes(kBag);
    const OdSmartPtr<Ext> ext = extension();
    EXPECT_TRUE(ext->isOverriddenExpose());
    EXPECT_TRUE(ext->isExposed());
    EXPECT_EQ(ext->measurementType(), 3);
    EXPECT_EQ(ext->unitsAsString(), L"mm^3");
    ext->restoreExpression();
    EXPECT_EQ(variable()->expression(), L"2*3");
    EXPECT_EQ(zemu::getValueAsDouble(variable().get()), 6);
}

TEST_F(VariableExtension, ACustomUnitIsReadFromTheStoredBytes)
{
    storeBytes(kCustomUnit);
    EXPECT_EQ(extension()->measurementType(), 0);
    EXPECT_EQ(extension()->unitsAsString(), L"kN/mm");
    extension()->setExposed(false);
    extension()->setDefaultExpose();
    EXPECT_EQ(storedBytes(), kCustomUnit);
}

TEST_F(VariableExtension, StoredBytesThatAreCutSayNoMoreThanTheyHold)
{
    for (std::size_t length = 0; length < kBag.size(); ++length) {
        storeBytes(Bytes(kBag.begin(), kBag.begin() + static_cast<std::ptrdiff_t>(length)));
        const OdSmartPtr<Ext> ext = extension();
        EXPECT_EQ(ext->measurementType(), 0) << length;
        ext->restoreExpression();
        ext->setExposed(true);
        EXPECT_TRUE(extension()->isExposed()) << length;
    }
}

TEST_F(VariableExtension, IsThereInADrawingThatIsSavedAndOpenedAgain)
{
    const OdString text(L"1+1");
    const OdDbObjectId lengthId = zemu::getAssocVariable(m_block, L"length", true, &text);
    {
        const OdSmartPtr<Ext> ext = Ext::cast(OdDbAssocVariablePtr(lengthId.openObject()));
        ext->setMeasurementType(1);
        ext->setExposed(false);
        ext->storeExpression();
    }
    // A custom unit that is too long for extended data goes to the extension dictionary.
    const OdString longUnit(L'u', 20000);
    store(L"units", longUnit);
    const TemporaryDrawing file;
    odDbSaveDrawingAs(*m_database, file.path());
    m_database.release();  // frees the file
    for (bool isSavedAgain : {false, true}) {
        const OdDbDatabasePtr opened =
            odDbOpenDrawing(file.path(), OdDbOpenDrawingMode::kForWriting);
        const OdDbObjectId block = opened->getModelSpaceId();
        const auto extensionOf = [&](OdString const& name) {
            return Ext::cast(OdDbAssocVariablePtr(
                zemu::getAssocVariable(block, name, /*create=*/false).openObject()));
        };
        const OdSmartPtr<Ext> length = extensionOf(L"LENGTH");
        ASSERT_FALSE(length.isNull());
        EXPECT_EQ(length->measurementType(), 1);
        EXPECT_EQ(length->isOverriddenExpose(), true);
        EXPECT_EQ(length->isExposed(), isSavedAgain);
        EXPECT_EQ(length->getScaleFactor(Units::kUnitsCentimeters), 0.1);
        EXPECT_EQ(length->convertMeasurement(Units::kUnitsCentimeters).value, 0.2);
        EXPECT_EQ(extensionOf(L"a")->unitsAsString(), longUnit);
        length->setExposed(true);
        odDbSaveDrawing(*opened);
    }
}

TEST_F(VariableExtension, AValueOfAnotherTypeSaysNothingAndMakesWay)
{
    store(L"expose", L"yes");
    store(L"origExpr", L"2");
    EXPECT_TRUE(extension()->isOverriddenExpose());
    EXPECT_FALSE(extension()->isExposed());
    extension()->setExposed(true);
    EXPECT_TRUE(extension()->isExposed());
    const OdSmartPtr<Ext> ext = extension();
    ext->data().removeProperty(L"origExpr");
    ext->data().setProperty(L"origExpr", 5);
    ext->storeExpression();
    OdString expression;
    EXPECT_TRUE(ext->data().getProperty(L"origExpr", expression));
}

TEST_F(VariableExtension, AMeasurementTypeIsSetAndTakenBack)
{
    EXPECT_EQ(extension()->measurementType(), 0);
    extension()->setMeasurementType(3);
    EXPECT_EQ(extension()->measurementType(), 3);
    EXPECT_FALSE(extension()->isLinearDimension());
    extension()->setMeasurementType(1);
    EXPECT_TRUE(extension()->isLinearDimension());
    extension()->setMeasurementType(0);
    EXPECT_EQ(extension()->measurementType(), 0);
    EXPECT_TRUE(variable()->xData(L"ZEM_DB").isNull());
}

TEST_F(VariableExtension, AMeasurementTypeWipesACustomUnit)
{
    store(L"units", L"kg/mm^3");
    EXPECT_EQ(extension()->unitsAsString(), L"kg/mm^3");
    EXPECT_EQ(extension()->measurementType(), 0);
    extension()->setMeasurementType(0);
    EXPECT_EQ(extension()->unitsAsString(), L"");
}

TEST_F(VariableExtension, ATypeIsNotStoredButStillReportedWhereAConstraintMakesALength)
{
    constrain(/*isLinear=*/true);
    extension()->setMeasurementType(1);
    EXPECT_TRUE(extension()->data().getProperty(L"units").isNull());
    EXPECT_EQ(extension()->getMeasurement(true).type, 1);
    EXPECT_EQ(extension()->unitsAsString(), L"mm");
    EXPECT_TRUE(extension()->isLinearDimension());
    EXPECT_FALSE(extension()->isAngularDimension());
    ZemDbConstraintManager::desc()->delX(ZemDbConstraintManagerPE::desc());
}

TEST_F(VariableExtension, AConstraintCanMakeTheVariableAnAngle)
{
    EXPECT_FALSE(extension()->isAngularDimension());
    constrain(/*isLinear=*/false);
    EXPECT_TRUE(extension()->isAngularDimension());
    EXPECT_FALSE(extension()->isLinearDimension());
    ZemDbConstraintManager::desc()->delX(ZemDbConstraintManagerPE::desc());
    EXPECT_FALSE(extension()->isAngularDimension());
}

TEST_F(VariableExtension, TheThicknessOfSheetMetalIsALength)
{
    EXPECT_FALSE(extension()->isSMThickness());
    EXPECT_FALSE(extension()->isLinearDimension());
    const OdDbObjectId context = makeThickness();
    EXPECT_EQ(ZemDbSheetMetalContext::getInstance(m_block), context);
    EXPECT_TRUE(extension()->isSMThickness());
    EXPECT_TRUE(extension()->isLinearDimension());
    extension()->setMeasurementType(1);
    EXPECT_TRUE(extension()->data().getProperty(L"units").isNull());
    const OdDbObjectId other = zemu::getAssocVariable(m_block, L"b", /*create=*/true);
    EXPECT_FALSE(Ext::cast(OdDbAssocVariablePtr(other.openObject()))->isSMThickness());
    ASSERT_EQ(context.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_FALSE(extension()->isSMThickness());
}

TEST_F(VariableExtension, AVariableInNoNetworkHasNoUnits)
{
    const OdDbAssocVariablePtr loose = OdDbAssocVariable::createObject();
    EXPECT_EQ(Ext::cast(loose)->getBlockUnits(), Units::kUnitsUndefined);
    EXPECT_FALSE(Ext::cast(loose)->isSMThickness());
    EXPECT_EQ(Ext::cast(loose)->getMeasurement(true).value, 0.0);
}

TEST_F(VariableExtension, UnitsAreThoseOfTheBlockOrForModelSpaceOfTheDrawing)
{
    EXPECT_EQ(extension()->getBlockUnits(), Units::kUnitsMillimeters);
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"Part");
    block->setBlockInsertUnits(Units::kUnitsInches);
    const OdDbObjectId blockId =
        OdSmartPtr<OdDbBlockTable>(m_database->getBlockTableId().openObject(OdDb::kForWrite))
            ->add(block.get());
    const OdDbObjectId inBlock = zemu::getAssocVariable(blockId, L"a", /*create=*/true);
    EXPECT_EQ(Ext::cast(OdDbAssocVariablePtr(inBlock.openObject()))->getBlockUnits(),
              Units::kUnitsInches);
}

TEST_F(VariableExtension, UnitsHaveShortNames)
{
    struct Row
    {
        int units;
        wchar_t const* name;
    };
    constexpr Row rows[] = {{0, L""},         {1, L"in"},       {2, L"ft"},     {3, L"miles"},
                            {4, L"mm"},       {5, L"cm"},       {6, L"meters"}, {7, L"km"},
                            {8, L"\u00B5in"}, {9, L"mils"},     {10, L"yd"},    {11, L"angstroms"},
                            {12, L"nm"},      {13, L"microns"}, {14, L"dm"},    {15, L"dam"},
                            {16, L"hm"},      {17, L"Gm"},      {18, L"AU"},    {19, L"ly"},
                            {20, L"pc"},      {21, L""},        {-1, L""}};
    for (Row const& row : rows) {
        EXPECT_EQ(Ext::unitsToString(static_cast<Units>(row.units)), row.name) << row.units;
    }
}

TEST_F(VariableExtension, UnitTextsFollowTheMeasurementType)
{
    const Units mm = Units::kUnitsMillimeters;
    EXPECT_EQ(Ext::measurementTypeToString(mm, 1), L"mm");
    EXPECT_EQ(Ext::measurementTypeToString(mm, 2), L"mm^2");
    EXPECT_EQ(Ext::measurementTypeToString(mm, 3), L"mm^3");
}

TEST_F(VariableExtension, UnitTextsAreEmptyForAnUnknownType)
{
    for (int type : {0, 4, -1}) {
        EXPECT_EQ(Ext::measurementTypeToString(Units::kUnitsMillimeters, type), L"") << type;
    }
}

TEST_F(VariableExtension, UnitTextsAreEmptyWithoutAUnit)
{
    for (int type : {1, 2, 3}) {
        EXPECT_EQ(Ext::measurementTypeToString(Units::kUnitsUndefined, type), L"") << type;
    }
}

TEST_F(VariableExtension, AMeasurementHoldsValueTypeUnitsAndText)
{
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 8), kOdOk);
    extension()->setMeasurementType(2);
    const Measurement with = extension()->getMeasurement(true);
    EXPECT_EQ(with.value, 8.0);
    EXPECT_EQ(with.type, 2);
    EXPECT_EQ(with.units, Units::kUnitsMillimeters);
    EXPECT_EQ(with.unitsString, L"mm^2");
    EXPECT_EQ(extension()->getMeasurement(false).value, 1.0);
    EXPECT_EQ(extension()->unitsAsString(), L"mm^2");
}

TEST_F(VariableExtension, ConversionToTheSameUnitKeepsValueAndTextAndAsksNobody)
{
    const AttachedUnits units;
    const Measurement same = Ext::convertMeasurement(
        Units::kUnitsMillimeters, measure(3, 0, Units::kUnitsMillimeters, L"kg/mm"));
    EXPECT_EQ(same.value, 3.0);
    EXPECT_EQ(same.units, Units::kUnitsMillimeters);
    EXPECT_EQ(same.unitsString, L"kg/mm");
    EXPECT_TRUE(units->m_calls.empty());
}

TEST_F(VariableExtension, ConversionOfAnAreaSquaresAndOfAVolumeCubesTheFactor)
{
    struct Row
    {
        int type;
        double factor;
        wchar_t const* text;
    };
    constexpr Row rows[] = {{1, 0.1, L"cm"}, {2, 0.01, L"cm^2"}, {3, 0.001, L"cm^3"}};
    for (Row const& row : rows) {
        const Measurement converted = Ext::convertMeasurement(
            Units::kUnitsCentimeters, measure(7, row.type, Units::kUnitsMillimeters, L"x"));
        EXPECT_NEAR(converted.value, 7 * row.factor, 1e-12);
        EXPECT_EQ(converted.type, row.type);
        EXPECT_EQ(converted.units, Units::kUnitsCentimeters);
        EXPECT_EQ(converted.unitsString, row.text);
    }
}

TEST_F(VariableExtension, ConversionFromOrToNoUnitKeepsTheValueAlone)
{
    const Measurement length = measure(7, 1, Units::kUnitsMillimeters, L"mm");
    for (Measurement const& converted :
         {Ext::convertMeasurement(Units::kUnitsUndefined, length),
          Ext::convertMeasurement(Units::kUnitsMeters,
                                  measure(7, 1, Units::kUnitsUndefined, L""))}) {
        EXPECT_EQ(converted.value, 7.0);
        EXPECT_EQ(converted.type, 1);
        EXPECT_EQ(converted.units, Units::kUnitsUndefined);
        EXPECT_EQ(converted.unitsString, L"");
    }
}

TEST_F(VariableExtension, TheHostConvertsCustomUnits)
{
    const AttachedUnits units;
    const Measurement density = measure(2, 0, Units::kUnitsMillimeters, L"kg/mm/mm");
    const Measurement converted = Ext::convertMeasurement(Units::kUnitsCentimeters, density);
    EXPECT_EQ(units->m_calls, std::vector<OdString>{L"kg/mm/mm->kg/cm/cm"});
    EXPECT_EQ(converted.value, 10.0);
    EXPECT_EQ(converted.units, Units::kUnitsCentimeters);
    EXPECT_EQ(converted.unitsString, L"kg/cm/cm");
}

TEST_F(VariableExtension, ACustomUnitThatCanNotBeConvertedLosesItsText)
{
    const Measurement density = measure(2, 0, Units::kUnitsMillimeters, L"kg/mm");
    const Measurement noHost = Ext::convertMeasurement(Units::kUnitsCentimeters, density);
    const AttachedUnits units;
    units->m_result = 1;
    const Measurement failed = Ext::convertMeasurement(Units::kUnitsCentimeters, density);
    const Measurement noText = Ext::convertMeasurement(
        Units::kUnitsCentimeters, measure(2, 0, Units::kUnitsMillimeters, L""));
    const Measurement noUnitInText = Ext::convertMeasurement(
        Units::kUnitsCentimeters, measure(2, 0, Units::kUnitsMillimeters, L"kg"));
    for (Measurement const& result : {noHost, failed, noText, noUnitInText}) {
        EXPECT_EQ(result.value, 2.0);
        EXPECT_EQ(result.units, Units::kUnitsCentimeters);
        EXPECT_EQ(result.unitsString, L"");
    }
    EXPECT_EQ(units->m_calls.size(), 1u);
}

TEST_F(VariableExtension, TheVariablesOwnMeasurementIsConverted)
{
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 20), kOdOk);
    extension()->setMeasurementType(1);
    EXPECT_NEAR(extension()->convertMeasurement(Units::kUnitsCentimeters).value, 2.0, 1e-12);
    EXPECT_NEAR(extension()->getScaleFactor(Units::kUnitsCentimeters), 0.1, 1e-12);
}

TEST_F(VariableExtension, AnExpressionIsKeptAndGivenBack)
{
    zemu::getAssocVariable(m_block, L"b", /*create=*/true);
    ASSERT_EQ(variable(OdDb::kForWrite)->setExpression(L"b*2"), kOdOk);
    extension()->storeExpression();
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 9), kOdOk);
    extension()->restoreExpression();
    EXPECT_EQ(variable()->expression(), L"b*2");
    EXPECT_EQ(zemu::getValueAsDouble(variable().get()), 2.0);
    EXPECT_TRUE(extension()->data().getProperty(L"origExpr").isNull());
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 9), kOdOk);
    extension()->restoreExpression();
    EXPECT_EQ(variable()->expression(), L"9");
}

TEST_F(VariableExtension, WhoeverIsToldOfAnExpressionGivenBackFindsItForgotten)
{
    class Listener : public OdDbXrecord
    {
    public:
        void modified(OdDbObject const* object) override
        {
            const OdDbAssocVariablePtr variable = object->objectId().openObject();
            m_kept.push_back(!Ext::cast(variable)->data().getProperty(L"origExpr").isNull());
        }
        std::vector<bool> m_kept;
    };
    ASSERT_EQ(variable(OdDb::kForWrite)->setExpression(L"2*3"), kOdOk);
    extension()->storeExpression();
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 9), kOdOk);
    const OdSmartPtr<Listener> listener = odrxMake<Listener>();
    variable(OdDb::kForWrite)->addPersistentReactor(m_database->addOdDbObject(listener.get()));
    listener->m_kept.clear();
    extension()->restoreExpression();
    EXPECT_EQ(listener->m_kept, std::vector<bool>{false});
}

TEST_F(VariableExtension, IsMissedWhileItsClassIsNotRegistered)
{
    Ext::rxUninit();
    try {
        (void)extension();
        ADD_FAILURE() << "an extension without class";
    } catch (OdError const& error) {
        EXPECT_EQ(error.code(), kOdClassNotRegistered);
    }
    EXPECT_TRUE(Ext::cast(OdDbAssocVariablePtr()).isNull());
    Ext::rxInit();
    EXPECT_FALSE(extension().isNull());
}

TEST_F(VariableExtension, AKeptExpressionThatCameToARingIsForgotten)
{
    const OdDbObjectId b = zemu::getAssocVariable(m_block, L"b", /*create=*/true);
    ASSERT_EQ(variable(OdDb::kForWrite)->setExpression(L"b"), kOdOk);
    extension()->storeExpression();
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 9), kOdOk);
    ASSERT_EQ(OdDbAssocVariablePtr(b.openObject(OdDb::kForWrite))->setExpression(L"a"), kOdOk);
    extension()->restoreExpression();
    EXPECT_EQ(variable()->expression(), L"9");
    EXPECT_TRUE(extension()->data().getProperty(L"origExpr").isNull());
}

TEST_F(VariableExtension, UnitsOfTheHostAreFoundWhileTheyAreAttached)
{
    EXPECT_TRUE(ZemCVUnitInterface::instance().isNull());
    {
        const AttachedUnits units;
        EXPECT_FALSE(ZemCVUnitInterface::instance().isNull());
    }
    EXPECT_TRUE(ZemCVUnitInterface::instance().isNull());
}

TEST_F(VariableExtension, AFormattedMeasurementIsTheHostsOrTheBareNumber)
{
    ASSERT_EQ(zemu::setConstExpression(variable(OdDb::kForWrite).get(), 2.5), kOdOk);
    extension()->setMeasurementType(1);
    EXPECT_EQ(ZemCVUnitInterface::getFormattedMeasurement(variable().get()), L"2.5");
    EXPECT_EQ(ZemCVUnitInterface::getFormattedMeasurement(nullptr), L"");
    const AttachedUnits units;
    EXPECT_EQ(ZemCVUnitInterface::getFormattedMeasurement(variable().get()), L"2.5 mm");
}

TEST_F(VariableExtension, WithoutAVariableItIsEmptyAndSafe)
{
    const OdSmartPtr<Ext> ext = Ext::desc()->create();
    ext->setExposed(true);
    ext->setMeasurementType(2);
    ext->storeExpression();
    ext->restoreExpression();
    EXPECT_FALSE(ext->isAngularDimension());
    EXPECT_FALSE(ext->isSMThickness());
    EXPECT_EQ(ext->getBlockUnits(), Units::kUnitsUndefined);
    EXPECT_EQ(ext->getMeasurement(true).value, -1.0);
}
