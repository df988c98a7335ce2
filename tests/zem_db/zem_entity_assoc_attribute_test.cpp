#include "model_test_support.h"
#include "zem_entity_assoc_attribute.h"

namespace {

using namespace model_test;
using zem_assoc::EntityAssocAttribute;

/// Version 1.1 and the handle 1122334455667788, whose most significant byte comes first.
const Blob kAttribute = bytes({
    1, 0, 0, 0,                                      // major version
    1, 0, 0, 0,                                      // minor version
    0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88,  // handle
});
constexpr OdDbHandle kHandle(0x1122334455667788u);

/// An attribute that says what it likes of its version and its stored form.
class TestAttribute : public EntityAssocAttribute
{
public:
    using EntityAssocAttribute::EntityAssocAttribute;

    int majorVersion() const override { return m_major; }
    OdResBufPtr convertToResBuf() const override
    {
        return m_converts ? EntityAssocAttribute::convertToResBuf() : OdResBufPtr();
    }

    int m_major = 1;
    bool m_converts = true;
};

class EntityAttribute : public ModelTest
{
protected:
    OdDbEntityPtr line(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return m_line.openObject(mode);
    }
    static OdResult read(EntityAssocAttribute& attribute, Blob const& data)
    {
        property_test::FlatReader filer(data);
        return attribute.dwgInFields(&filer);
    }
    static Blob withMajor(int major)
    {
        Blob data = kAttribute;
        data[0] = static_cast<char>(major);
        return data;
    }
    static OdResBufPtr chunk(Blob const& data)
    {
        const OdResBufPtr record = OdResBuf::newRb(1004);
        OdBinaryData content;
        content.append(data.begin(), data.end());
        record->setBinaryChunk(content);
        return record;
    }
};

}  // namespace

TEST_F(EntityAttribute, IsFiledAsVersionAndHandle)
{
    const EntityAssocAttribute attribute(OdDbEntityPtr(), kHandle);
    EXPECT_EQ(attribute.majorVersion(), 1);
    EXPECT_EQ(attribute.minorVersion(), 1);
    EXPECT_EQ(property_test::flattenBy([&](OdDbDwgFiler* filer) { attribute.dwgOutFields(filer); }),
              kAttribute);
}

TEST_F(EntityAttribute, ReadsWhatItFiled)
{
    EntityAssocAttribute attribute;
    EXPECT_EQ(read(attribute, kAttribute), kOdOk);
    EXPECT_EQ(attribute.handle(), kHandle);
}

TEST_F(EntityAttribute, RefusesAnOlderMajorVersionAndTakesNewerOnes)
{
    EntityAssocAttribute attribute;
    EXPECT_EQ(read(attribute, withMajor(0)), kOdRejectedVersion);
    EXPECT_TRUE(attribute.handle().isNull());
    EXPECT_EQ(read(attribute, withMajor(2)), kOdOk);
    TestAttribute newer;
    newer.m_major = 3;
    EXPECT_EQ(read(newer, withMajor(2)), kOdRejectedVersion);
    EXPECT_EQ(read(newer, withMajor(3)), kOdOk);
}

TEST_F(EntityAttribute, TakesAnyMinorVersion)
{
    Blob data = kAttribute;
    data[4] = static_cast<char>(0xFF);
    EntityAssocAttribute attribute;
    EXPECT_EQ(read(attribute, data), kOdOk);
}

TEST_F(EntityAttribute, RefusesANullHandle)
{
    Blob data = kAttribute;
    std::fill(data.begin() + 8, data.end(), '\0');
    EntityAssocAttribute attribute;
    EXPECT_EQ(read(attribute, data), kOdNullHandle);
}

TEST_F(EntityAttribute, BecomesExtendedDataOfItsApplication)
{
    const OdResBufPtr buffer = EntityAssocAttribute(OdDbEntityPtr(), kHandle).convertToResBuf();
    ASSERT_FALSE(buffer.isNull());
    EXPECT_EQ(buffer->restype(), 1001);
    EXPECT_EQ(buffer->getString(), OdString(L"ZemAssoc"));
    ASSERT_FALSE(buffer->next().isNull());
    EXPECT_EQ(buffer->next()->restype(), 1004);
    const OdBinaryData content = buffer->next()->getBinaryChunk();
    EXPECT_EQ(Blob(content.begin(), content.end()), kAttribute);
    EXPECT_TRUE(buffer->next()->next().isNull());
}

TEST_F(EntityAttribute, ComesBackFromExtendedDataWithAndWithoutItsName)
{
    const OdResBufPtr buffer = EntityAssocAttribute(OdDbEntityPtr(), kHandle).convertToResBuf();
    EntityAssocAttribute first;
    EXPECT_EQ(first.convertFromResBuf(buffer.get()), kOdOk);
    EXPECT_EQ(first.handle(), kHandle);
    EntityAssocAttribute second;
    EXPECT_EQ(second.convertFromResBuf(buffer->next().get()), kOdOk);
    EXPECT_EQ(second.handle(), kHandle);
}

TEST_F(EntityAttribute, CantBeReadWithoutChunks)
{
    EntityAssocAttribute attribute;
    EXPECT_EQ(attribute.convertFromResBuf(nullptr), kOdUnreadableAttribute);
    const OdResBufPtr name = OdResBuf::newRb(1001);
    name->setString(L"ZemAssoc");
    EXPECT_EQ(attribute.convertFromResBuf(name.get()), kOdUnreadableAttribute);
    const OdResBufPtr text = OdResBuf::newRb(1000);
    EXPECT_EQ(attribute.convertFromResBuf(text.get()), kOdUnreadableAttribute);
}

TEST_F(EntityAttribute, CantBeReadFromChunksCutAtAnyByte)
{
    for (std::size_t length = 0; length < kAttribute.size(); ++length) {
        EntityAssocAttribute attribute;
        const Blob cut(kAttribute.begin(), kAttribute.begin() + static_cast<int>(length));
        EXPECT_EQ(attribute.convertFromResBuf(chunk(cut).get()), kOdUnreadableAttribute) << length;
    }
}

TEST_F(EntityAttribute, RefusesChunksOfAnOlderVersionByTheResultOfReading)
{
    EntityAssocAttribute attribute;
    EXPECT_EQ(attribute.convertFromResBuf(chunk(withMajor(0)).get()), kOdRejectedVersion);
}

TEST_F(EntityAttribute, IsWrittenToItsEntity)
{
    EntityAssocAttribute attribute(line(), kHandle);
    EXPECT_EQ(attribute.writeXData(), kOdOk);
    EntityAssocAttribute read;
    EXPECT_EQ(read.convertFromResBuf(line()->xData(zem_assoc::g_zemAssocAppName).get()), kOdOk);
    EXPECT_EQ(read.handle(), kHandle);
}

TEST_F(EntityAttribute, WritingIsUndoneAndDoneAgain)
{
    m_database->startUndoRecord();
    EXPECT_EQ(EntityAssocAttribute(line(), kHandle).writeXData(), kOdOk);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(line()->xData(L"ZemAssoc").isNull());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_FALSE(line()->xData(L"ZemAssoc").isNull());
}

TEST_F(EntityAttribute, IsNotWrittenWithoutAnEntity)
{
    EXPECT_EQ(EntityAssocAttribute(OdDbEntityPtr(), kHandle).writeXData(), kOdNoEntity);
}

TEST_F(EntityAttribute, IsNotWrittenToAnEntityOutsideOfADrawing)
{
    EXPECT_EQ(EntityAssocAttribute(odrxMake<OdDbLine>(), kHandle).writeXData(), kOdEntityWithoutId);
}

TEST_F(EntityAttribute, IsNotWrittenWithANullHandle)
{
    EXPECT_EQ(EntityAssocAttribute(line()).writeXData(), kOdNullHandleOnWrite);
    EXPECT_TRUE(line()->xData(L"ZemAssoc").isNull());
}

TEST_F(EntityAttribute, IsNotWrittenWithoutAStoredForm)
{
    TestAttribute attribute(line(), kHandle);
    attribute.m_converts = false;
    EXPECT_EQ(attribute.writeXData(), kOdVariableMissing);
    EXPECT_TRUE(line()->xData(L"ZemAssoc").isNull());
}
