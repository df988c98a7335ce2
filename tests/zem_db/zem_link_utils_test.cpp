#include "db/od_db_object_store.h"

#include "stored_link_test_support.h"
#include "zem_link_utils.h"

#include <limits>

using namespace stored_link_test;

namespace {

class LinkUtils : public StoredLinkTest
{
protected:
    static OdDbFullSubentPath pathOf(OdDbObjectIdArray const& ids,
                                     OdDbSubentId const& part = OdDbSubentId())
    {
        return {ids, part};
    }
};
class LinkTexts : public LinkUtils
{
protected:
    static OdString hex(OdDbObjectId id) { return id.getHandle().ascii(); }
};
class PathValidity : public LinkUtils
{
};
class ExternalPathValidity : public ExternalLinkTest
{
};
class ExternalLinkTexts : public ExternalLinkTest
{
};

/// A solid that counts how often it was asked for a part.
class AskedSolid : public OdDb3dSolid
{
public:
    OdDbEntityPtr subentPtr(OdDbFullSubentPath const& path) const override
    {
        ++m_count;
        m_path = path;
        return OdDb3dSolid::subentPtr(path);
    }

    mutable int m_count = 0;
    mutable OdDbFullSubentPath m_path;
};

}  // namespace

//--------------------------------------------------------------------------------------------------
// Questions to a path

TEST_F(LinkUtils, APathStartsAtItsFirstIdAndEndsAtItsLast)
{
    EXPECT_EQ(zemu::getInsertId(pathOf(m_nested)), m_outerReference);
    EXPECT_EQ(zemu::getLeafId(pathOf(m_nested)), m_solid);
    EXPECT_EQ(zemu::getInsertId(pathOf({m_solid})), m_solid);
    EXPECT_EQ(zemu::getLeafId(pathOf({m_solid})), m_solid);
    EXPECT_TRUE(zemu::getInsertId(pathOf({})).isNull());
    EXPECT_TRUE(zemu::getLeafId(pathOf({})).isNull());
}

TEST_F(LinkUtils, APathIsSimpleWithOneIdAndLongWithMore)
{
    EXPECT_FALSE(zemu::isSimplePath(pathOf({})));
    EXPECT_FALSE(zemu::isLongPath(pathOf({})));
    EXPECT_TRUE(zemu::isSimplePath(pathOf({m_solid})));
    EXPECT_FALSE(zemu::isLongPath(pathOf({m_solid})));
    EXPECT_FALSE(zemu::isSimplePath(pathOf(m_nested)));
    EXPECT_TRUE(zemu::isLongPath(pathOf(m_nested)));
}

TEST_F(LinkUtils, APartHasATypeWhateverItsIndex)
{
    EXPECT_FALSE(zemu::isSubentId(OdDbSubentId()));
    EXPECT_FALSE(zemu::isSubentId(OdDbSubentId(kNoPart, 5)));
    EXPECT_TRUE(zemu::isSubentId(OdDbSubentId(kFace, 0)));
    EXPECT_FALSE(zemu::isSubentPath(pathOf(m_nested)));
    EXPECT_TRUE(zemu::isSubentPath(pathOf({}, OdDbSubentId(kEdge, 1))));
}

TEST_F(LinkUtils, APathLeadsNowhereIfItIsEmptyOrStartsWithNull)
{
    EXPECT_TRUE(zemu::isNullObjectLink(pathOf({})));
    EXPECT_TRUE(zemu::isNullObjectLink(pathOf({OdDbObjectId(), m_solid})));
    EXPECT_FALSE(zemu::isNullObjectLink(pathOf({m_solid})));
    EXPECT_FALSE(zemu::isNullObjectLink(pathOf({m_outerReference, OdDbObjectId()})));
}

//--------------------------------------------------------------------------------------------------
// Valid paths

TEST_F(PathValidity, APathThroughReferencesIsValidWithAndWithoutItsOwners)
{
    for (const bool checkOwner : {false, true}) {
        EXPECT_TRUE(zemu::isValidObjectIdPath(m_nested, checkOwner));
        EXPECT_TRUE(zemu::isValidObjectIdPath({m_innerReference, m_solid}, checkOwner));
        EXPECT_TRUE(zemu::isValidObjectIdPath({m_solid}, checkOwner));
        EXPECT_TRUE(zemu::isValidObjectIdPath({m_outerReference}, checkOwner));
    }
}

TEST_F(PathValidity, AnEmptyPathIsNot)
{
    EXPECT_FALSE(zemu::isValidObjectIdPath({}, /*checkOwner=*/false));
}

TEST_F(PathValidity, APathWithAnIdThatCantBeOpenedIsNot)
{
    for (unsigned at = 0; at < m_nested.size(); ++at) {
        for (OdDbObjectId id : {OdDbObjectId(), nowhere()}) {
            OdDbObjectIdArray ids = m_nested;
            ids.setAt(at, id);
            EXPECT_FALSE(zemu::isValidObjectIdPath(ids, /*checkOwner=*/false)) << at;
        }
        erase(m_nested.at(at));
        EXPECT_FALSE(zemu::isValidObjectIdPath(m_nested, /*checkOwner=*/false)) << at;
        revive(m_nested.at(at));
        EXPECT_TRUE(zemu::isValidObjectIdPath(m_nested, /*checkOwner=*/true)) << at;
    }
}

namespace {

/// A carrier that fails to read what it says that it holds.
class BrokenStore : public OdDbObjectStore
{
public:
    bool find(OdDbHandle handle, std::uint32_t& classIndex) override
    {
        classIndex = 0;
        return handle == kHandle;
    }
    bool beginLoad(OdDbHandle, OdDbStoredObject&) override { throw OdError(kOdFileAccess); }
    void endLoad() override {}
    OdDbHandle nextHandle(OdDbHandle) override { return OdDbHandle(); }

    static inline const OdDbHandle kHandle{0x9999};
};

}  // namespace

TEST_F(PathValidity, APathWhoseReadingThrowsIsNot)
{
    OdDbStorageAccess(*m_database).attachStore(std::make_unique<BrokenStore>());
    const OdDbObjectId broken = m_database->getOdDbObjectId(BrokenStore::kHandle, /*create=*/true);
    ASSERT_EQ(thrownCode([&] { (void)broken.openObject(); }), kOdFileAccess);
    for (const bool checkOwner : {false, true}) {
        EXPECT_FALSE(zemu::isValidObjectIdPath({broken}, checkOwner));
        EXPECT_FALSE(zemu::isValidObjectIdPath({broken, m_solid}, checkOwner));
        EXPECT_FALSE(zemu::isValidObjectIdPath({m_outerReference, broken}, checkOwner));
    }
    EXPECT_FALSE(zemu::doesPathExist(pathOf({broken}, OdDbSubentId(kFace, 1))));
}

TEST_F(PathValidity, OnlyReferencesLeadOn)
{
    EXPECT_FALSE(zemu::isValidObjectIdPath({m_solid, m_solid}, /*checkOwner=*/false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({m_inner, m_solid}, /*checkOwner=*/false));
}

TEST_F(PathValidity, OnlyAnEntityEndsIt)
{
    EXPECT_FALSE(zemu::isValidObjectIdPath({m_inner}, /*checkOwner=*/false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({addXrecord(*m_database)}, /*checkOwner=*/false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({m_outerReference, m_inner}, /*checkOwner=*/false));
}

TEST_F(PathValidity, AReferenceLiesInTheBlockOfTheOneBeforeIt)
{
    const OdDbObjectId elsewhere = appendReference(m_model, m_inner);
    EXPECT_FALSE(
        zemu::isValidObjectIdPath({m_outerReference, elsewhere, m_solid}, /*checkOwner=*/false));
}

TEST_F(PathValidity, TheEntityLiesInTheLastBlockWhereOwnersAreChecked)
{
    const OdDbObjectId elsewhere = appendSolid(m_model);
    const OdDbObjectIdArray ids{m_outerReference, m_innerReference, elsewhere};
    EXPECT_TRUE(zemu::isValidObjectIdPath(ids, /*checkOwner=*/false));
    EXPECT_FALSE(zemu::isValidObjectIdPath(ids, /*checkOwner=*/true));
}

TEST_F(PathValidity, AReferenceToAnErasedBlockLeadsNowhere)
{
    erase(m_inner);
    EXPECT_FALSE(zemu::isValidObjectIdPath(m_nested, /*checkOwner=*/false));
}

TEST_F(PathValidity, AReferenceInNoBlockLeadsNowhere)
{
    const OdDbBlockReferencePtr reference =
        OdDbBlockReference::createObject(m_inner, OdGePoint3d());
    const OdDbObjectId id = m_database->addOdDbObject(reference.get());
    EXPECT_FALSE(zemu::isValidObjectIdPath({id, m_solid}, /*checkOwner=*/false));
}

TEST_F(ExternalPathValidity, AnEntityInModelSpaceOfTheExternalDrawingIsInItsBlock)
{
    EXPECT_TRUE(zemu::isValidObjectIdPath(pathToPart(), /*checkOwner=*/true));
    EXPECT_TRUE(zemu::isValidObjectIdPath(pathToInsert(), /*checkOwner=*/true));
    EXPECT_TRUE(zemu::isValidObjectIdPath(pathThroughAssembly(), /*checkOwner=*/true));
    // One in another block of the external drawing is not.
    const OdDbObjectIdArray ids{m_reference, inPart(m_partInner)};
    EXPECT_TRUE(zemu::isValidObjectIdPath(ids, /*checkOwner=*/false));
    EXPECT_FALSE(zemu::isValidObjectIdPath(ids, /*checkOwner=*/true));
}

TEST_F(ExternalPathValidity, APathIntoADrawingThatIsUnloadedIsNotValid)
{
    const OdDbObjectIdArray ids = pathToPart();
    ASSERT_EQ(OdDbXRefMan::unload(m_block), kOdOk);
    EXPECT_FALSE(zemu::isValidObjectIdPath(ids, /*checkOwner=*/false));
}

//--------------------------------------------------------------------------------------------------
// Paths that exist

TEST_F(PathValidity, APartExistsIfItsSolidHasIt)
{
    EXPECT_TRUE(zemu::doesPathExist(pathOf(m_nested, OdDbSubentId(kFace, 6))));
    EXPECT_FALSE(zemu::doesPathExist(pathOf(m_nested, OdDbSubentId(kFace, 7))));
    EXPECT_TRUE(zemu::doesPathExist(pathOf({m_solid}, OdDbSubentId(kEdge, 12))));
    EXPECT_FALSE(zemu::doesPathExist(pathOf({m_solid}, OdDbSubentId(kEdge, 13))));
    EXPECT_FALSE(zemu::doesPathExist(pathOf({m_solid}, OdDbSubentId(kVertex, 0))));
    EXPECT_FALSE(zemu::doesPathExist(pathOf({m_outerReference}, OdDbSubentId(kFace, 1))));
}

TEST_F(PathValidity, NoPartExistsAtTheEndOfAPathThatIsNotValid)
{
    EXPECT_FALSE(zemu::doesPathExist(pathOf({})));
    EXPECT_FALSE(zemu::doesPathExist(pathOf({}, OdDbSubentId(kFace, 1))));
    EXPECT_FALSE(zemu::doesPathExist(pathOf({OdDbObjectId()}, OdDbSubentId(kFace, 1))));
    EXPECT_FALSE(zemu::doesPathExist(pathOf({m_solid, m_solid}, OdDbSubentId(kFace, 1))));
    erase(m_solid);
    EXPECT_FALSE(zemu::doesPathExist(pathOf(m_nested, OdDbSubentId(kFace, 1))));
}

TEST_F(PathValidity, AWholeObjectExistsWithoutAskingItForAPart)
{
    const OdSmartPtr<AskedSolid> solid = odrxMake<AskedSolid>();
    const OdDbObjectId id = append(m_inner, solid.get());
    const OdDbObjectIdArray ids{m_outerReference, m_innerReference, id};
    EXPECT_TRUE(zemu::doesPathExist(pathOf(ids)));
    EXPECT_TRUE(zemu::doesPathExist(pathOf(ids, OdDbSubentId(kNoPart, 9))));
    EXPECT_EQ(solid->m_count, 0);
    EXPECT_FALSE(zemu::doesPathExist(pathOf(ids, OdDbSubentId(kFace, 1))));
    EXPECT_EQ(solid->m_count, 1);
    EXPECT_EQ(solid->m_path, pathOf({id}, OdDbSubentId(kFace, 1)));
}

TEST_F(ExternalPathValidity, APartInAnExternalDrawingExists)
{
    EXPECT_TRUE(zemu::doesPathExist({pathToInsert(), OdDbSubentId(kFace, 6)}));
    EXPECT_FALSE(zemu::doesPathExist({pathToInsert(), OdDbSubentId(kFace, 7)}));
}

//--------------------------------------------------------------------------------------------------
// Texts

TEST_F(LinkTexts, APartIsItsLetterAndItsIndex)
{
    EXPECT_EQ(zemu::strSubentId(OdDbSubentId(kFace, 1)), L"f_1");
    EXPECT_EQ(zemu::strSubentId(OdDbSubentId(kEdge, 23)), L"e_23");
    EXPECT_EQ(zemu::strSubentId(OdDbSubentId(kVertex, 0)), L"v_0");
    EXPECT_EQ(zemu::strSubentId(OdDbSubentId(kFace, -5)), L"f_-5");
}

TEST_F(LinkTexts, APartOfAnyOtherTypeHasA0ForItsLetter)
{
    EXPECT_EQ(zemu::strSubentId(OdDbSubentId()), L"0_0");
    EXPECT_EQ(zemu::strSubentId(OdDbSubentId(kNoPart, 5)), L"0_5");
    for (const int type : {4, 5, 77, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(zemu::strSubentId(OdDbSubentId(static_cast<OdDb::SubentType>(type), 5)), L"0_5");
    }
}

TEST_F(LinkTexts, IdsAreHandlesWithColonsBetween)
{
    EXPECT_EQ(zemu::strObjectIdArray({}, false), L"");
    EXPECT_EQ(zemu::strObjectIdArray({m_solid}, false), hex(m_solid));
    EXPECT_EQ(zemu::strObjectIdArray(m_nested, false),
              hex(m_outerReference) + L":" + hex(m_innerReference) + L":" + hex(m_solid));
    EXPECT_EQ(zemu::strObjectIdArray({OdDbObjectId(), nowhere()}, false), L"0:9999");
}

TEST_F(LinkTexts, AnEdgeInANestedBlockIsItsHandlesAndItself)
{
    EXPECT_EQ(zemu::strFullSubentPath(pathOf(m_nested, OdDbSubentId(kEdge, 7)), false),
              L"0x" + hex(m_outerReference) + L":" + hex(m_innerReference) + L":" + hex(m_solid) +
                  L":e_7");
}

TEST_F(LinkTexts, AWholeObjectHasNoPartInItsText)
{
    EXPECT_EQ(zemu::strFullSubentPath(pathOf({m_solid}), false), L"0x" + hex(m_solid));
    EXPECT_EQ(zemu::strFullSubentPath(pathOf({m_solid}, OdDbSubentId(kNoPart, 3)), false),
              L"0x" + hex(m_solid) + L":0_3");
    EXPECT_EQ(zemu::strFullSubentPath(pathOf({}), false), L"0x");
}

TEST_F(LinkTexts, PathsHaveASpaceBehindEach)
{
    OdArray<OdDbFullSubentPath> paths;
    EXPECT_EQ(zemu::strFullSubentPathArray(paths), L"empty");
    paths.append(pathOf({m_solid}, OdDbSubentId(kFace, 1)));
    paths.append(pathOf({m_solid}));
    EXPECT_EQ(zemu::strFullSubentPathArray(paths),
              L"0x" + hex(m_solid) + L":f_1 0x" + hex(m_solid) + L" ");
}

TEST_F(LinkTexts, ALinkIsItsPath)
{
    const OdDbFullSubentPath path = pathOf(m_nested, OdDbSubentId(kEdge, 7));
    EXPECT_EQ(zemu::strFSPFromDependency(addLink(path), false),
              zemu::strFullSubentPath(path, false));
    const OdDbFullSubentPath whole = pathOf({m_solid});
    EXPECT_EQ(zemu::strFSPFromDependency(addLink(whole), true),
              zemu::strFullSubentPath(whole, true));
}

TEST_F(LinkTexts, WhatIsNoLinkIsInvalid)
{
    EXPECT_EQ(zemu::strFSPFromDependency(m_solid, false), L"invalid path");
    EXPECT_EQ(zemu::strFSPFromDependency(OdDbObjectId(), false), L"invalid");
    EXPECT_EQ(zemu::strFSPFromDependency(nowhere(), false), L"invalid");
    const OdDbObjectId link = addLink(pathOf({m_solid}));
    erase(link);
    EXPECT_EQ(zemu::strFSPFromDependency(link, false), L"invalid");
}

TEST_F(LinkTexts, ALinkToAnErasedObjectNamesItAllTheSame)
{
    const OdDbObjectId link = addLink(pathOf(m_nested, OdDbSubentId(kEdge, 7)));
    erase(m_solid);
    EXPECT_EQ(zemu::strFSPFromDependency(link, false),
              L"invalid:" + zemu::strObjectIdArray(m_nested, false) + L":e_7");
}

TEST_F(ExternalLinkTexts, IdsNameTheFilesOfTheirDrawings)
{
    EXPECT_EQ(zemu::strObjectIdArray(pathToPart(), true),
              m_reference.getHandle().ascii() + L"[]:" + m_partSolid.ascii() + L"[part.zdw]");
    EXPECT_EQ(zemu::strObjectIdArray({OdDbObjectId()}, true), L"0[]");
    odDbSaveDrawingAs(*m_database, path("host.zdw"));
    EXPECT_EQ(zemu::strObjectIdArray({m_solid}, true), m_solid.getHandle().ascii() + L"[host.zdw]");
}

TEST_F(ExternalLinkTexts, ALinkIntoAMissingDrawingNamesTheHandlesThatItCouldNotFollow)
{
    const OdDbObjectId link = addLink(OdDbFullSubentPath(pathToInsert(), OdDbSubentId(kVertex, 2)));
    ASSERT_EQ(OdDbXRefMan::unload(m_block), kOdOk);
    std::filesystem::remove(m_folder / "part.zdw");
    EXPECT_EQ(zemu::strFSPFromDependency(link, false),
              L"invalid:" + m_reference.getHandle().ascii() + L" | " + m_partInsert.ascii() +
                  L" | " + m_partInner.ascii() + L":v_2");
    EXPECT_EQ(zemu::strFSPFromDependency(link, true),
              L"invalid:" + m_reference.getHandle().ascii() + L"[] | " + m_partInsert.ascii() +
                  L" | " + m_partInner.ascii() + L":v_2");
}
