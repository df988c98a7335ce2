// The features of a block.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class ZemDbFeatureManagerImpl;
class ZemDependenciesReplacementMap;
class ZemNamingService;
class ZemProperties;

/// Keeps the features of one block in the order in which they are updated.
///
/// References to objects that are erased when a drawing is written stay out of the file.
class ZemDbFeatureManager : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbFeatureManager);

public:
    ZemDbFeatureManager();
    ~ZemDbFeatureManager() override;

    /// The manager of a block, in the block's extension dictionary; null if there is none, and for an
    /// id that can't be opened.
    /// \param create  Whether to make one if there is none.
    static OdDbObjectId getInstance(OdDbObjectId const& blockId, bool create);
    /// The sheet-metal parameters of the block; null if there are none. Open for read.
    OdDbObjectId sheetMetalContext() const;
    /// Lets what belongs to the block's features follow a remapping of sub-entities: the sheet-metal
    /// parameters of the model space, if they are asked for, through the host's
    /// `ZemDbSheetMetalContextPE`, which is told the entities that the remapping touched.
    ///
    /// \param replacements  An empty one changes nothing.
    /// \param constraintsWereCalculated, constraintsWereCalculatedSuccessfully, autoupdate
    ///                      What the caller has done about constraints, and whether features follow by
    ///                      themselves.
    /// \param sheetMetal    Whether the sheet-metal parameters are to follow.
    /// \return Whether anything was changed.
    bool updateFeaturesAfterRemapping(ZemDependenciesReplacementMap& replacements,
                                      bool constraintsWereCalculated,
                                      bool constraintsWereCalculatedSuccessfully, bool autoupdate,
                                      bool sheetMetal);
    /// Makes names unique among those of the features; lives as long as the manager. Names are read
    /// when they are first needed, and then again after the manager is read.
    ZemNamingService& getNamingService() noexcept { return *m_namingService; }

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    class NamingService;

    std::unique_ptr<ZemDbFeatureManagerImpl> m_impl;
    std::unique_ptr<ZemNamingService> m_namingService;
};
