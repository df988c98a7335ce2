// Interfaces through which the host gives the module what it lacks: geometry, solver, settings.
//
// The module declares them and asks for them at the point of use; everything works without them. A
// host derives from an interface, answers, and attaches one object to the class that is asked, with
// `OdRxClass::addX` after the module was initialised; that object serves all objects of the class
// and of the classes derived from it, and is dropped when the module goes.
//
// Operations without a body are asked by the module, so a host has to answer them. Operations with a
// body are for hosts to use among themselves; the module asks none of them, and their bodies answer
// that there is nothing.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"
#include "ge/od_ge_matrix3d.h"
#include "root/od_array.h"
#include "root/od_shared_ptr.h"

#include "zem_assoc_variable_ext.h"

#include <vector>

class OdCmEntityColor;
class OdDbAssocVariable;
class OdDbEntity;
class OdDbIdMapping;
class OdDbUserIO;
template <class T>
class OdSharedPtr;
class ZemConstraint;
class ZemDbConstraintManager;
class ZemDbFeatureManager;
class ZemDbFeatureReactor;
class ZemDbObject;
class ZemDbPersIdManager;
class ZemDbSheetMetalContext;
class ZemFeature;
class ZemFeatureUpdateData;
class ZemFeatureUpdateDataHelper;
class ZemMatchingFaces;
class ZemProperties;
class ZemUpdateInfo;

using ZemSubentPathArray = OdArray<OdDbFullSubentPath, OdObjectsAllocator<OdDbFullSubentPath>>;

/// What the kinds of constraints are; asked of the constraint manager. The numbers of the kinds are
/// the host's.
class ZemDbConstraintManagerPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbConstraintManagerPE);

public:
    ~ZemDbConstraintManagerPE() override;

    /// \name Kinds of constraints
    /// @{
    /// Whether the constraint has a value that a variable can drive.
    virtual bool isParametric(ZemConstraint const* constraint) const = 0;
    /// Whether its value is a length.
    virtual bool isLinearDimension(ZemConstraint const* constraint) const = 0;
    /// Whether its value is an angle.
    virtual bool isAngularDimension(ZemConstraint const* constraint) const = 0;
    /// The display name of a constraint that is being added; the manager makes no other.
    virtual OdString generateConstraintName(ZemDbConstraintManager const* manager,
                                            ZemConstraint const* constraint) const = 0;
    /// The name of a kind of constraint; empty if the kind has none.
    virtual OdString kindName(int kind) const;
    /// How many arguments a constraint of the kind takes at least; 0 for an unknown kind.
    virtual int minArgumentCount(int kind) const;
    /// How many arguments it takes at most; 0 for an unknown kind.
    virtual int maxArgumentCount(int kind) const;
    /// @}

    /// \name What happens to a manager
    /// @{
    virtual void onConstraintAdded(ZemDbConstraintManager* manager, ZemConstraint* constraint);
    virtual void onConstraintRemoved(ZemDbConstraintManager* manager, ZemConstraint* constraint);
    virtual void onConstraintModified(ZemDbConstraintManager* manager, ZemConstraint* constraint);
    virtual void onStatusChanged(ZemDbConstraintManager* manager);
    /// @}
};

/// Makes the helper that does the solid operations of an update pass; asked of the feature manager.
class ZemDbFeatureManagerPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbFeatureManagerPE);

public:
    ~ZemDbFeatureManagerPE() override;

    /// A helper for one pass.
    ///
    /// \param data  The data of the pass; it owns the helper and outlives it.
    /// \param flag  The flag that the data was made with.
    /// \return Null if the pass is to go without solid operations.
    virtual OdSharedPtr<ZemFeatureUpdateDataHelper> createUpdateHelper(ZemFeatureUpdateData* data,
                                                                       bool flag) = 0;
};

/// What the module can't know of components and their places; asked of the feature manager.
class ZemDbAssemblyPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbAssemblyPE);

public:
    ~ZemDbAssemblyPE() override;

    /// Collects what a feature does to the solids of an assembly.
    ///
    /// \param info  Receives the solids and sub-entities concerned.
    /// \param flag  Handed on from the caller of the collecting.
    /// \return Whether anything was collected.
    virtual bool collectFromFeature(ZemFeature* feature, ZemMatchingFaces const& faces,
                                    ZemFeatureUpdateData* data, ZemUpdateInfo& info, bool flag) = 0;
    /// Whether the block reference is a component of an assembly.
    virtual bool isComponent(OdDbObjectId insertId) const;
    /// The block in which the component is defined; null for anything that is none.
    virtual OdDbObjectId componentDefinition(OdDbObjectId insertId) const;
    /// The components of a block, in any order.
    virtual OdDbObjectIdArray components(OdDbObjectId blockId) const;
    virtual void onComponentReplaced(OdDbObjectId insertId, OdDbObjectId newInsertId);
};

/// How features are named; asked of the feature manager.
class ZemDbNamingPolicyPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbNamingPolicyPE);

public:
    ~ZemDbNamingPolicyPE() override;

    /// The name that a feature is to get: `name`, or the base name of its class and "_1" if that is
    /// empty, with a number that makes it unique among the features of the manager.
    ///
    /// \param manager      The manager in which the name is to be free; null leaves `name` as it is.
    /// \param cls          Class of the feature; gives the name if `name` is empty.
    /// \param appendFirst  Whether even the first feature of a name gets a number.
    virtual OdString generateFeatureName(ZemDbFeatureManager* manager, OdRxClass* cls,
                                         OdString const& name, bool appendFirst);
    /// Whether the policy names features of a class.
    virtual bool isApplicable(OdRxClass* cls) const = 0;
    /// The base name of features of a class, to which numbers are appended.
    virtual OdString baseName(OdRxClass* cls) const = 0;
};

/// Links of an entity for constraints, and notices of its changes; asked of the model object.
class ZemDbObjectPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbObjectPE);

public:
    ~ZemDbObjectPE() override;

    /// Whether an entity can take part in the model.
    virtual bool canBeAttachedTo(OdDbEntity const* entity) const;
    /// Makes a link for each path that has none, and appends the new ones' ids in order of paths.
    virtual void appendConstraintDependencies(ZemDbObject* object, ZemSubentPathArray const& paths,
                                              OdDbObjectIdArray& newIds) = 0;
    /// Makes the link for one path. \return Its id, null if it can't be made.
    virtual OdDbObjectId appendConstraintDependency(ZemDbObject* object,
                                                    OdDbFullSubentPath const& path) = 0;
    /// Before the first change of the entity in a write period.
    virtual void onOpenedForModify(ZemDbObject* object, OdDbObject const* entity) = 0;
    /// The entity was changed or erased; for hosts that track changes of a database.
    virtual void onDatabaseTrackerNotify(ZemDbObject* object, OdDbObject const* entity) = 0;
    /// The transform that waits to be applied to the entity has changed.
    ///
    /// \param transform  All that has come together so far.
    /// \param enabled    Whether transforms are kept for the solver.
    virtual void onTransformCached(OdDbDatabase* database, OdDbObjectId entityId,
                                   OdGeMatrix3d const& transform, bool enabled) = 0;
    /// The base of the display name of an entity's model object; may be empty.
    virtual OdString attachedEntityName(OdDbObjectId entityId,
                                        ZemDbConstraintManager const* manager) const = 0;
    /// The model object was taken off its entity.
    virtual void onDetached(ZemDbObject* object, OdDbObjectId entityId);
};

/// Makes and rewrites the links of a block; asked of the manager of links.
class ZemDbPersIdManagerPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbPersIdManagerPE);

public:
    ~ZemDbPersIdManagerPE() override;

    /// Looks at the paths before links are made for them; an unfit one may be mended in place.
    virtual void validatePaths(ZemDbPersIdManager* manager, ZemSubentPathArray& paths,
                               OdDbDatabase* database) = 0;
    /// Fills in the ids of links for the paths, in order of paths.
    virtual void collectExistingDependencies(ZemDbPersIdManager* manager,
                                             ZemSubentPathArray const& paths,
                                             OdDbObjectIdArray& ids) = 0;
    /// Rewrites one link to a new path.
    virtual void remapDependency(ZemDbPersIdManager* manager, OdDbObjectId dependencyId,
                                 OdDbFullSubentPath const& path) = 0;
    /// Makes links for the paths that have none.
    ///
    /// \param userIO  For questions to the user; may be null.
    /// \param ids     The links of all paths; the new ones are filled in.
    /// \return The new links, which the manager takes over.
    virtual OdDbObjectIdArray createDependencies(ZemDbPersIdManager* manager,
                                                 ZemSubentPathArray const& paths,
                                                 OdDbUserIO* userIO, OdDbObjectIdArray& ids) = 0;
};

/// What a change of solids does to a sheet-metal part; asked of the sheet-metal context.
class ZemDbSheetMetalContextPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbSheetMetalContextPE);

public:
    ~ZemDbSheetMetalContextPE() override;

    /// Follows a remapping of sub-entities.
    ///
    /// \param modifiedEntities  Entities that the remapping touched.
    /// \return Whether anything was changed.
    virtual bool updateAfterRemapping(ZemDbSheetMetalContext* context,
                                      OdDbObjectIdArray const& modifiedEntities) = 0;
    /// Whether the solid is a sheet-metal part.
    virtual bool isSheetMetalSolid(OdDbObjectId solidId) const;
    /// The thickness of the solid as it is modelled, in drawing units; 0 if it has none.
    virtual double measuredThickness(OdDbObjectId solidId) const;
    /// Changes the solids of the context to a thickness. \return Whether anything was changed.
    virtual bool applyThickness(ZemDbSheetMetalContext* context, double thickness);
    /// Changes the solids of the context to its parameters. \return Whether anything was changed.
    virtual bool applyParameters(ZemDbSheetMetalContext* context);
    /// Looks up a bend deduction, in drawing units. \return False if no table gives one.
    virtual bool bendDeduction(ZemDbSheetMetalContext const* context, double bendRadius,
                               double angleRad, double& deduction) const;
    virtual void onParametersChanged(ZemDbSheetMetalContext* context);
};

/// The material of a sheet-metal part; for hosts, the module asks nothing of it.
class ZemDbSheetMetalContextMaterialPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbSheetMetalContextMaterialPE);

public:
    ~ZemDbSheetMetalContextMaterialPE() override;

    /// The name of the material; empty if there is none.
    virtual OdString materialName(ZemDbSheetMetalContext const* context) const = 0;
    /// Sets it. \return False if there is no such material.
    virtual bool setMaterialName(ZemDbSheetMetalContext* context, OdString const& name) = 0;
    /// The thicknesses in which the material can be had, ascending, in drawing units.
    virtual std::vector<double> thicknesses(ZemDbSheetMetalContext const* context) const = 0;
};

/// The colours that features give to faces; asked of the class of the feature.
class ZemFeatureColorPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemFeatureColorPE);

public:
    ~ZemFeatureColorPE() override;

    /// \param tag    The group of dependencies that the face belongs to.
    /// \param color  Receives the colour.
    /// \return False, with `color` untouched, if the face keeps its own colour.
    virtual bool overrideColor(int tag, OdCmEntityColor& color) const = 0;
};

/// Base of what a host puts on a feature class; marks its classes as such.
class ZemFeaturePE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemFeaturePE);

public:
    ~ZemFeaturePE() override;
};

/// The geometric behaviour of a feature class; asked of the feature.
///
/// One object serves all features of a class: a feature that is asked for the interface puts itself
/// in with `setFeature` before it gives it out, and the operations are about that feature. So it is
/// asked, used at once, and not kept.
class ZemUpdateFeatureInterface : public ZemFeaturePE
{
    RX_DECLARE_CLASS(ZemUpdateFeatureInterface);

public:
    /// The faces around the opening that a feature makes in a solid. A value.
    class OpeningFaces
    {
    public:
        OpeningFaces() = default;
        /// \param faces     The faces, the base face first if there is one.
        /// \param insertId  The block reference whose component makes the opening.
        OpeningFaces(OdDbObjectId solidId, OdDbObjectId insertId,
                     std::vector<OdDbFullSubentPath> faces);

        std::size_t size() const noexcept { return m_faces.size(); }
        OdDbObjectId solidId() const noexcept { return m_solidId; }
        OdDbObjectId insertId() const noexcept { return m_insertId; }
        /// Whether the opening has a solid, an insert and at least one face.
        bool isValid() const noexcept;
        /// The face from which the opening starts; an empty path if there is none.
        OdDbFullSubentPath baseSolidFace() const;
        std::vector<OdDbFullSubentPath> const& faces() const noexcept { return m_faces; }

    private:
        OdDbObjectId m_solidId;
        OdDbObjectId m_insertId;
        std::vector<OdDbFullSubentPath> m_faces;
    };

    ~ZemUpdateFeatureInterface() override;

    /// \name The feature in question
    /// @{
    ZemFeature* feature() const noexcept { return m_feature; }
    /// Puts in the feature that the next questions are about; borrowed until the next one is put in.
    void setFeature(ZemFeature* feature) noexcept { m_feature = feature; }
    /// Whether the feature has component entities; without them it acts as if it had no interface.
    bool isActive() const;
    /// @}

    /// \name Updating, in the order of a pass
    /// @{
    virtual OpeningFaces openingFaces() const = 0;
    /// Whether the opening still fits the solid.
    virtual bool isOpeningUpToDate() const;
    /// Queues what the feature needs. \return Whether the feature stays as it is.
    virtual bool prepareUpdateData(ZemFeatureUpdateData& data, bool force) = 0;
    /// After the solid operations. \return Whether anything was changed.
    virtual bool updateGeometry(ZemFeatureUpdateData& data);
    /// After all features were updated. \return Whether anything was changed.
    virtual bool initAfterUpdate(ZemFeatureUpdateData& data) = 0;
    virtual void onUpdateFailed(ZemFeatureUpdateData& data);
    /// The solid that the feature works on; null if there is none.
    virtual OdDbObjectId baseSolid() const;
    virtual bool setBaseSolid(OdDbObjectId solidId);
    /// Chooses another face for the opening to start from. \return False if it doesn't fit.
    virtual bool setBaseFace(OdDbFullSubentPath const& path);
    /// Whether losing a dependency of that mask and tag means losing the feature.
    virtual bool isRequiredDependency(int mask, int tag) = 0;
    /// @}

    /// \name Cloning
    /// `clone` is the clone of the data object, or null; `isPrimary` says that it was asked for.
    /// @{
    virtual void deepClone(OdDbIdMapping& mapping, OdDbObject* clone, OdDbObject* owner,
                           bool isPrimary) const = 0;
    virtual void wblockClone(OdDbIdMapping& mapping, OdDbObject* clone, OdDbObject* owner,
                             bool isPrimary) const = 0;
    /// @}

    /// \name What the openings are made with
    /// @{
    /// Entities that are taken out of the solid.
    ///
    /// \param withLayers  Whether those on dedicated layers count as well.
    virtual OdDbObjectIdArray openingSubtractors(bool withLayers) const = 0;
    /// Entities that are added to the solid.
    virtual OdDbObjectIdArray openingUniters(bool withLayers) const = 0;
    /// All entities of the component that meet the solid.
    virtual OdDbObjectIdArray openingEntities() const;
    /// Whether a reactor is left out where dependencies are filtered.
    virtual bool isReactorExcluded(ZemDbFeatureReactor const* reactor) const = 0;
    /// Whether the component entities go with the feature.
    virtual bool hasComponentEntities() const = 0;
    /// The component entity that stands for the feature; null if none does.
    virtual OdDbObjectId mainComponentEntity() const;
    virtual bool isComponentEntity(OdDbObjectId entityId) const;
    virtual void onComponentEntityErased(OdDbObjectId entityId);
    /// Whether the feature can't be without a base face.
    virtual bool needsBaseFace() const = 0;
    /// Whether the opening goes all the way through the solid.
    virtual bool isThroughOpening() const;
    /// @}

    /// \name Layers, compared without case
    /// @{
    /// The dedicated layers of what is taken out and of what is added.
    virtual std::vector<OdString> layersToHide() const;
    /// None.
    virtual std::vector<OdString> layersToShow() const;
    /// None.
    virtual std::vector<OdString> layersToHideOnInsert() const;
    /// Those of `layersToHide`: what is hidden in the component shows when it is inserted.
    virtual std::vector<OdString> layersToShowOnInsert() const;
    /// @}

    /// \name Being an extension of an object
    /// @{
    /// What the user sees as the name of this behaviour.
    virtual OdString displayName() const;
    /// The variant in which the behaviour starts on a new object.
    virtual int defaultVariant() const = 0;
    /// Sets the behaviour of an object up; the object is open for write.
    virtual void initExtension(OdDbObject* object, int variant) = 0;
    /// The variant that an object was set up with.
    virtual int variant(OdDbObject const* object) const;
    virtual bool canExtend(OdDbObject const* object) const;
    virtual void onExtensionSet(OdDbObject* object);
    virtual void onExtensionRemoved(OdDbObject* object);
    /// The feature class that this behaviour is for.
    virtual OdRxClass* featureClass() const = 0;
    /// Whether features of the class may be made for a path.
    virtual bool canBeCreatedFor(OdDbFullSubentPath const& path) const;
    /// The entities through which the feature acts; none makes the interface inactive.
    virtual OdDbObjectIdArray componentEntities() const = 0;
    virtual bool setComponentEntities(OdDbObjectIdArray const& ids);
    virtual bool replaceComponentEntity(OdDbObjectId oldId, OdDbObjectId newId);
    /// @}

    /// \name Place
    /// @{
    /// Where the component stands, from its own coordinates to the world's.
    virtual OdGeMatrix3d placement() const;
    virtual bool setPlacement(OdGeMatrix3d const& placement);
    virtual bool transformBy(OdGeMatrix3d const& transform);
    virtual bool alignToFace(OdDbFullSubentPath const& face);
    /// @}

    /// \name Other
    /// @{
    virtual void onFeatureErased();
    virtual void onSolidErased(OdDbObjectId solidId);
    /// Mends what can be mended. \return How many faults were found.
    virtual int audit(bool repair);
    /// @}

private:
    ZemFeature* m_feature = nullptr;
};

/// The bag of an object that keeps one of its own; asked of the object.
class ZemPropertiesPE : public OdRxObject
{
    RX_DECLARE_CLASS(ZemPropertiesPE);

public:
    ~ZemPropertiesPE() override;

    /// The object's bag, which lives as long as the object; null if it has none. The open mode is
    /// the caller's to check.
    virtual ZemProperties* getProperties(OdDbObject* object) = 0;
};

/// The host's default settings of sheet metal; attached to `OdDbDatabase`. Lengths are in drawing
/// units, or ratios of the thickness where the type beside them says so.
class ZemDbISettings : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbISettings);

public:
    ~ZemDbISettings() override;

    /// The settings that the host attached; null if it attached none.
    /// \throws OdError_NotThatKindOfClass if something else is attached in their place.
    static OdSmartPtr<ZemDbISettings> instance();

    /// \name Types and modes: 0 is a ratio of the thickness, 1 an absolute length
    /// @{
    /// The type, plus 2 if the radius may be overridden in a conversion.
    virtual int defaultBendRadiusMode() const = 0;
    virtual int defaultFormFeatureUnfoldingMode() const = 0;
    virtual int defaultJunctionAlignmentType() const = 0;
    virtual int defaultBendLineExtentType() const = 0;
    virtual int defaultBendReliefWidthType() const = 0;
    virtual int defaultMiterGapType() const = 0;
    virtual int defaultMiterExtensionType() const = 0;
    virtual int defaultJunctionGapType() const = 0;
    virtual int defaultBendReliefExtensionType() const = 0;
    virtual int defaultRibProfileRadiusType() const = 0;
    virtual int defaultRibRoundRadiusType() const = 0;
    /// @}

    /// \name Values
    /// @{
    virtual double defaultBendLineExtent() const = 0;
    virtual double defaultKFactor() const = 0;
    virtual double defaultBendRadius() const = 0;
    virtual double defaultBendReliefWidth() const = 0;
    /// Below 0 for the automatic diameter.
    virtual double defaultCornerReliefDiameter() const = 0;
    virtual double defaultMiterGap() const = 0;
    virtual double defaultMiterExtension() const = 0;
    virtual double defaultJunctionGap() const = 0;
    virtual double defaultBendReliefExtension() const = 0;
    virtual double defaultRibRoundRadius() const = 0;
    virtual double defaultRibProfileRadius() const = 0;
    virtual double defaultThickness() const = 0;
    /// @}

    /// \name Other settings
    /// @{
    /// Below 0 if no die is set.
    virtual double defaultVeeDieWidth() const;
    virtual OdString defaultBendTablePath() const;
    virtual OdString defaultMaterialName() const;
    /// The units in which the lengths above are given; undefined for those of the drawing.
    virtual OdDb::UnitsValue lengthUnits() const;
    /// The name under which the user knows these settings.
    virtual OdString settingsName() const;
    /// Grows with every change, so that a reader can tell whether it is up to date.
    virtual unsigned revision() const;
    virtual void onDefaultsUsed(OdDbDatabase* database);
    /// @}
};

/// Units that the host defines; attached to the class of variables.
class ZemCVUnitInterface : public OdRxObject
{
    RX_DECLARE_CLASS(ZemCVUnitInterface);

public:
    ~ZemCVUnitInterface() override;

    /// The interface that the host attached; null if it attached none.
    /// \throws OdError_NotThatKindOfClass if something else is attached in its place.
    static OdSmartPtr<ZemCVUnitInterface> instance();
    /// A variable's value as the user is to see it: with its units if the host shows them, else the
    /// number alone. Empty for null; the variable is open for read.
    static OdString getFormattedMeasurement(OdDbAssocVariable* variable);

    /// How many `to` units one `from` unit is, both given as texts.
    ///
    /// \param factor  Receives the number.
    /// \return 0 for success; `factor` is of no use otherwise.
    virtual int convertUnits(OdString const& from, OdString const& to, double& factor) = 0;
    /// The text that shows a measurement to the user.
    virtual OdString formatMeasurement(ZemAssocVariableExt::Measurement const& measurement) = 0;
    /// Reads such a text back. \return False, with `measurement` untouched, if it is none.
    virtual bool parseMeasurement(OdString const& text,
                                  ZemAssocVariableExt::Measurement& measurement);
    virtual bool isKnownUnit(OdString const& unit) const;
    /// All units of a measurement type, in the order in which a user is offered them.
    virtual std::vector<OdString> units(int measurementType) const;
    /// The measurement type of a unit; 0 if it has none.
    virtual int measurementType(OdString const& unit) const;
    /// Digits behind the decimal point with which a unit is shown; below 0 for the host's default.
    virtual int precision(OdString const& unit) const;
    /// The unit that stands for a text that means the same; the text itself if there is none.
    virtual OdString canonicalUnit(OdString const& unit) const;
};

namespace zemu {

/// A named operation of the host that lasts as long as the wrapper, without a dialog.
class ZemModelessOperationWrapper : public OdRxObject
{
    RX_DECLARE_CLASS(ZemModelessOperationWrapper);

public:
    ~ZemModelessOperationWrapper() override;

    /// Starts an operation through the host's class "ZemModelessOperationWrapperImpl".
    ///
    /// \return Null if the host registered no such class.
    /// \throws OdError_NotThatKindOfClass if that class is no wrapper.
    static OdSmartPtr<ZemModelessOperationWrapper> create(OdString const& name);

    /// Starts the operation under a name that the user may see.
    virtual void start(OdString const& name) = 0;
};

}  // namespace zemu
