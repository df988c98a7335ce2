#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_platform.h"
#include "db/od_db_reference_filers.h"

#include <gtest/gtest.h>

namespace {

class ReferenceFilers : public testing::Test
{
protected:
    OdDbObjectId add(OdDbDatabasePtr const& db)
    {
        return db->addOdDbObject(OdDbDictionary::createObject().get());
    }

    OdDbPlatform m_platform;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
    OdDbDatabasePtr m_other = OdDbDatabase::createObject();
    OdSmartPtr<OdDbIdMapping> m_mapping = OdDbIdMapping::createObject();
    OdDbObjectId m_source = add(m_db);
    OdDbObjectId m_clone = add(m_db);
    OdDbObjectId m_stranger = add(m_db);
};

TEST_F(ReferenceFilers, TranslationMapsEveryKindOfReferenceThatHasAPair)
{
    m_mapping->assign(OdDbIdPair(m_source, m_clone, true));
    OdStaticRxObject<OdDbIdXlateFiler> filer(m_db.get(), *m_mapping);
    filer.wrSoftPointerId(m_source);
    filer.wrHardPointerId(m_source);
    filer.wrSoftOwnershipId(m_source);
    filer.wrHardOwnershipId(m_source);
    filer.rewindForReading();
    EXPECT_EQ(filer.rdSoftPointerId(), m_clone);
    EXPECT_EQ(filer.rdHardPointerId(), m_clone);
    EXPECT_EQ(filer.rdSoftOwnershipId(), m_clone);
    EXPECT_EQ(filer.rdHardOwnershipId(), m_clone);
    EXPECT_EQ(filer.filerType(), OdDb::FilerType::kIdXlateFiler);
}

TEST_F(ReferenceFilers, TranslationKeepsUnmappedPointersAndDropsUnmappedOwnershipInsideADatabase)
{
    OdStaticRxObject<OdDbIdXlateFiler> filer(m_db.get(), *m_mapping);
    filer.wrSoftPointerId(m_stranger);
    filer.wrHardPointerId(m_stranger);
    filer.wrSoftOwnershipId(m_stranger);
    filer.wrHardOwnershipId(m_stranger);
    filer.rewindForReading();
    EXPECT_EQ(filer.rdSoftPointerId(), m_stranger);
    EXPECT_EQ(filer.rdHardPointerId(), m_stranger);
    EXPECT_TRUE(filer.rdSoftOwnershipId().isNull());
    EXPECT_TRUE(filer.rdHardOwnershipId().isNull());
}

TEST_F(ReferenceFilers, TranslationDropsUnmappedPointersAcrossDatabases)
{
    OdStaticRxObject<OdDbIdXlateFiler> filer(m_other.get(), *m_mapping);
    filer.wrSoftPointerId(m_stranger);
    filer.rewindForReading();
    EXPECT_TRUE(filer.rdSoftPointerId().isNull());
}

TEST_F(ReferenceFilers, TranslationLeavesAnIdThatIsAValueAlready)
{
    m_mapping->assign(OdDbIdPair(m_source, m_clone, true));
    m_mapping->assign(OdDbIdPair(m_clone, m_stranger, true));
    OdStaticRxObject<OdDbIdXlateFiler> filer(m_db.get(), *m_mapping);
    filer.wrHardOwnershipId(m_clone);
    filer.rewindForReading();
    EXPECT_EQ(filer.rdHardOwnershipId(), m_clone);
}

TEST_F(ReferenceFilers, PurgingKeepsWhatIsReferredToHard)
{
    OdStaticRxObject<OdDbPurgeFiler> filer(m_db.get());
    filer.wrSoftPointerId(m_source);
    filer.wrSoftOwnershipId(m_stranger);
    filer.wrHardOwnershipId(m_clone);
    filer.addReference(m_db->getLayerZeroId(), OdDb::ReferenceType::kHardPointerRef);
    filer.addReference(m_source, OdDb::ReferenceType::kSoftPointerRef);
    filer.wrHardPointerId(OdDbObjectId::kNull);
    EXPECT_TRUE(filer.usesReferences());
    EXPECT_EQ(filer.kept(), (std::unordered_set{m_clone, m_db->getLayerZeroId()}));
}

}  // namespace
