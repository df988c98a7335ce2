#include "db/od_db_block_reference.h"

#include "db/od_db_3d_solid.h"
#include "db/od_db_clone_impl.h"
#include "db/od_db_filer.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_planar_impl.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <vector>

RX_DEFINE_CLASS(OdDbBlockReference, OdDbEntity, odrxCreate<OdDbBlockReference>,
                L"OdDbBlockReference", OdDb::kDwgVersionCurrent, 0, 0, L"INSERT",
                L"Object database");

namespace {

/// Axes whose directions differ from perpendicular by less than this are.
constexpr double kPerpendicular = 1e-9;

/// Extents of what a block holds, in the coordinates of whoever asks.
///
/// A damaged or hostile drawing may nest blocks so that a few hundred references show more entities
/// than there are atoms, or so deep that no stack holds the way down. So entities are looked at one by
/// one, which is exact, up to a number and a depth that no sensible drawing reaches; what is beyond
/// counts by the box of its block, which is found once for each block, without recursion.
class ExtentsFinder
{
public:
    OdGeExtents3d find(OdDbBlockReference const& reference)
    {
        OdGeExtents3d extents;
        addReference(reference, OdGeMatrix3d::kIdentity, extents);
        return extents;
    }

private:
    static constexpr std::uint64_t kLookedAtOneByOne = 200'000;
    static constexpr std::size_t kWalkedDown = 100;

    struct Box
    {
        OdGeExtents3d extents;
        bool isBeingFound = true;
    };
    /// A block whose box is being found.
    struct Level
    {
        explicit Level(OdDbObjectId block) : id(block)
        {
            if (const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::openBlock(block);
                !record.isNull()) {
                at = record->newIterator();
            }
        }

        OdDbObjectId id;
        OdDbObjectIteratorPtr at;
        OdGeExtents3d found;
    };

    void addReference(OdDbBlockReference const& reference, OdGeMatrix3d const& outer,
                      OdGeExtents3d& extents)
    {
        const OdDbObjectId id = reference.blockTableRecord();
        if (std::find(m_path.begin(), m_path.end(), id) != m_path.end()) {
            return;  // the block contains itself; the rest of it is counted already
        }
        const OdGeMatrix3d transform = outer * reference.blockTransform();
        if (m_lookedAt >= kLookedAtOneByOne || m_path.size() >= kWalkedDown) {
            extents.addExt(OdGeExtents3d(boxOf(id)).transformBy(transform));
            return;
        }
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::openBlock(id);
        if (block.isNull()) {
            return;
        }
        m_path.push_back(id);
        for (auto at = block->newIterator(); !at->done(); at->step()) {
            ++m_lookedAt;
            addEntity(at->entity(), transform, extents);
        }
        m_path.pop_back();
    }

    void addEntity(OdDbEntityPtr const& entity, OdGeMatrix3d const& transform,
                   OdGeExtents3d& extents)
    {
        if (entity.isNull()) {
            return;
        }
        if (const auto nested = OdDbBlockReference::cast(entity.get()); !nested.isNull()) {
            addReference(*nested, transform, extents);
            return;
        }
        OdGeExtents3d box;
        if (keepsBoxes(transform)) {
            if (entity->getGeomExtents(box) == kOdOk) {
                extents.addExt(box.transformBy(transform));
            }
            return;
        }
        // A turned box is larger than the box of what is turned.
        const OdDbEntityPtr moved = copyOf(*entity);
        if (moved->transformBy(transform) == kOdOk) {
            if (moved->getGeomExtents(box) == kOdOk) {
                extents.addExt(box);
            }
        } else if (entity->getGeomExtents(box) == kOdOk) {
            extents.addExt(box.transformBy(transform));
        }
    }

    /// A copy to be moved. What is filed for it counts: an entity may be as large as a drawing.
    OdDbEntityPtr copyOf(OdDbEntity const& entity)
    {
        if (entity.isA() == OdDb3dSolid::desc()) {
            // Bodies are large, and are shared by whoever has them.
            auto const& solid = static_cast<OdDb3dSolid const&>(entity);
            const OdDb3dSolidPtr copy = OdDb3dSolid::createObject();
            copy->setBody(solid.bodyFormat(), solid.body(), solid.counts());
            copy->setPlacement(solid.placement());
            return copy;
        }
        constexpr std::uint64_t kBytesOfAnEntity = 512;
        OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kCopyFiler, entity.database());
        entity.dwgOutFields(&filer);
        m_lookedAt += filer.tell() / kBytesOfAnEntity;
        filer.rewindForReading();
        const OdDbEntityPtr copy = OdDbEntity::cast(entity.isA()->create().get());
        if (copy.isNull() || copy->dwgInFields(&filer) != kOdOk) {
            throw OdError(kOdClassNotRegistered);
        }
        return copy;
    }

    /// Whether the box of something is exactly what the matrix makes of its box before: each axis
    /// goes along an axis.
    static bool keepsBoxes(OdGeMatrix3d const& matrix)
    {
        for (unsigned column = 0; column < 3; ++column) {
            const OdGeVector3d axis = matrix.column(column);
            if ((axis.x != 0.0) + (axis.y != 0.0) + (axis.z != 0.0) != 1) {
                return false;
            }
        }
        return true;
    }

    OdGeExtents3d boxOf(OdDbObjectId id)
    {
        if (m_boxes.try_emplace(id).second) {
            findBox(id);
        }
        Box const& box = m_boxes.at(id);
        return box.isBeingFound ? OdGeExtents3d() : box.extents;
    }

    void findBox(OdDbObjectId id)
    {
        std::vector<Level> levels;
        levels.emplace_back(id);
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.at.isNull() || level.at->done()) {
                m_boxes[level.id] = {level.found, false};
                levels.pop_back();
                continue;
            }
            const OdDbEntityPtr entity = level.at->entity();
            const auto nested = OdDbBlockReference::cast(entity.get());
            if (!nested.isNull()) {
                const OdDbObjectId inner = nested->blockTableRecord();
                const auto [at, isNew] = m_boxes.try_emplace(inner);
                if (isNew) {
                    levels.emplace_back(inner);  // and then looked at again
                    continue;
                }
                if (!at->second.isBeingFound) {
                    OdGeExtents3d box = at->second.extents;
                    level.found.addExt(box.transformBy(nested->blockTransform()));
                }
            } else if (OdGeExtents3d box;
                       !entity.isNull() && entity->getGeomExtents(box) == kOdOk) {
                level.found.addExt(box);
            }
            level.at->step();
        }
    }

    std::vector<OdDbObjectId> m_path;  ///< blocks that are being walked, from the outside in
    std::unordered_map<OdDbObjectId, Box> m_boxes;
    std::uint64_t m_lookedAt = 0;
};

/// The blocks that are being drawn on this thread, from the outside in.
thread_local std::vector<OdDbObjectId> t_drawnBlocks;
/// References that were drawn since the outermost of them began.
thread_local std::uint64_t t_drawnReferences = 0;

class DrawnBlock
{
public:
    explicit DrawnBlock(OdDbObjectId id)
    {
        t_drawnReferences = t_drawnBlocks.empty() ? 1 : t_drawnReferences + 1;
        t_drawnBlocks.push_back(id);
    }
    DrawnBlock(DrawnBlock const&) = delete;
    DrawnBlock& operator=(DrawnBlock const&) = delete;
    ~DrawnBlock() { t_drawnBlocks.pop_back(); }

    static bool mayBeDrawn(OdDbObjectId id)
    {
        if (t_drawnBlocks.empty()) {
            return true;
        }
        return t_drawnBlocks.size() < OdDbBlockReference::kDeepestDrawn &&
               t_drawnReferences < OdDbBlockReference::kMostDrawn &&
               std::find(t_drawnBlocks.begin(), t_drawnBlocks.end(), id) == t_drawnBlocks.end();
    }
};

class ModelTransform
{
public:
    ModelTransform(OdGiGeometry& geometry, OdGeMatrix3d const& transform) : m_geometry(geometry)
    {
        m_geometry.pushModelTransform(transform);
    }
    ModelTransform(ModelTransform const&) = delete;
    ModelTransform& operator=(ModelTransform const&) = delete;
    ~ModelTransform() { m_geometry.popModelTransform(); }

private:
    OdGiGeometry& m_geometry;
};

double checkedFactor(double factor)
{
    if (!std::isnormal(factor)) {
        throw OdError(kOdInvalidInput);
    }
    return factor;
}

OdGeScale3d signsOf(OdGeScale3d const& scale)
{
    return {std::copysign(1.0, scale.sx), std::copysign(1.0, scale.sy),
            std::copysign(1.0, scale.sz)};
}

}  // namespace

OdDbBlockReference::OdDbBlockReference() = default;
OdDbBlockReference::~OdDbBlockReference() = default;

OdDbBlockReferencePtr OdDbBlockReference::createObject()
{
    return odrxMake<OdDbBlockReference>();
}

OdDbBlockReferencePtr OdDbBlockReference::createObject(OdDbObjectId block,
                                                       OdGePoint3d const& position)
{
    OdDbBlockReferencePtr reference = createObject();
    reference->setBlockTableRecord(block);
    reference->setPosition(position);
    return reference;
}

// ---------------------------------------------------------------------------------------------
// Block

void OdDbBlockReference::setBlockTableRecord(OdDbObjectId block)
{
    if (!block.isNull()) {
        requireReference(block, OdDbBlockTableRecord::desc());
        requireNoCycle(block);
    }
    const OdDbObjectId before = m_block;
    write(m_block, block);
    if (before != block) {
        enterInBlock(before, /*isThere=*/false);
        enterInBlock(block, /*isThere=*/true);
    }
}

void OdDbBlockReference::requireNoCycle(OdDbObjectId block) const
{
    const OdDbBlockTableRecordPtr owner = OdDbBlockTableRecord::openBlock(ownerId());
    if (!owner.isNull() && owner->isContainedIn(block)) {
        throw OdError(kOdCyclicReference);
    }
}

/// Only a reference that is in a block is one; what is merely in the database shows nothing.
void OdDbBlockReference::enterInBlock(OdDbObjectId block, bool isThere) const
{
    OdRxClass const* ownerClass = ownerId().objectClass();
    if (database() == nullptr || block.originalDatabase() != database() || ownerClass == nullptr ||
        !ownerClass->isDerivedFrom(OdDbBlockTableRecord::desc())) {
        return;
    }
    const OdDbBlockTableRecordPtr record =
        OdDbBlockTableRecord::openBlock(block, OdDb::kForWrite, /*openErased=*/true);
    if (!record.isNull()) {
        record->setReference(objectId(), isThere);
        record->downgradeOpen();
    }
}

void OdDbBlockReference::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbEntity::requireReferencesIn(database);
    requireIn(database, m_block);
}

void OdDbBlockReference::copyFrom(OdRxObject const* source)
{
    if (source != nullptr && source->isA() == isA()) {
        const OdDbObjectId block = static_cast<OdDbBlockReference const*>(source)->m_block;
        if (OdDbDatabase const* db = database()) {
            requireIn(*db, block);  // it may have gone with the database of the source
        }
        requireNoCycle(block);
    }
    const OdDbObjectId before = m_block;
    OdDbEntity::copyFrom(source);
    if (before.record() != m_block.record()) {  // a copy may show a block that is gone
        enterInBlock(before, /*isThere=*/false);
        enterInBlock(m_block, /*isThere=*/true);
    }
}

void OdDbBlockReference::joiningBlock(OdDbBlockTableRecord const& block) const
{
    if (m_block.isNull()) {
        return;
    }
    // A copy may show a block that has gone together with its database.
    requireIn(*block.database(), m_block);
    if (m_block.database() != block.database()) {
        throw OdError(kOdWrongDatabase);
    }
    const OdDbBlockTableRecordPtr shown = OdDbBlockTableRecord::openBlock(m_block);
    const bool isLikeOthers = !shown.isNull() && shown->wasShownLastIn(block);
    if (!isLikeOthers && block.isContainedIn(m_block)) {
        throw OdError(kOdCyclicReference);
    }
}

void OdDbBlockReference::joinedBlock()
{
    enterInBlock(m_block, /*isThere=*/true);
}

void OdDbBlockReference::cloneFinished(OdDbIdMapping& mapping)
{
    OdDbEntity::cloneFinished(mapping);
    enterInBlock(m_block, /*isThere=*/true);
    mapping.operation().noteBlockReference(ownerId(), m_block);
}

OdResult OdDbBlockReference::subErase(bool erasing)
{
    if (!erasing && !m_block.isNull()) {
        // Blocks may have been nested the other way round while the reference was erased.
        const OdDbBlockTableRecordPtr owner = OdDbBlockTableRecord::openBlock(ownerId());
        if (!owner.isNull() && owner->isContainedIn(m_block)) {
            return kOdCyclicReference;
        }
    }
    return OdDbEntity::subErase(erasing);
}

// ---------------------------------------------------------------------------------------------
// Placement

OdGePoint3d OdDbBlockReference::blockOrigin() const
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::openBlock(m_block);
    return block.isNull() ? OdGePoint3d::kOrigin : block->origin();
}

OdGeMatrix3d OdDbBlockReference::transformAbout(OdGePoint3d const& origin) const
{
    return OdGeMatrix3d::translation(m_position.asVector()) * OdGeMatrix3d::planeToWorld(m_normal) *
           OdGeMatrix3d::rotation(m_rotation, OdGeVector3d::kZAxis) *
           OdGeMatrix3d::scaling(m_scale) * OdGeMatrix3d::translation(-origin.asVector());
}

OdGeMatrix3d OdDbBlockReference::blockTransform() const
{
    assertReadEnabled();
    return transformAbout(blockOrigin());
}

OdResult OdDbBlockReference::setBlockTransform(OdGeMatrix3d const& transform)
{
    return place(transform, OdGeScale3d::kIdentity);
}

OdResult OdDbBlockReference::transformBy(OdGeMatrix3d const& matrix)
{
    assertReadEnabled();
    return odDbPlanar::isUsable(matrix)
               ? place(matrix * transformAbout(blockOrigin()), signsOf(m_scale))
               : kOdNotApplicable;
}

OdResult OdDbBlockReference::place(OdGeMatrix3d const& transform, OdGeScale3d const& signs)
{
    if (!odDbPlanar::isUsable(transform)) {
        return kOdNotApplicable;
    }
    const double lengths[] = {transform.column(0).length(), transform.column(1).length(),
                              transform.column(2).length()};
    if (!std::all_of(std::begin(lengths), std::end(lengths),
                     [](double length) { return std::isnormal(length); })) {
        return kOdNotApplicable;
    }
    OdGeVector3d x = transform.column(0) / (signs.sx * lengths[0]);
    const OdGeVector3d y = transform.column(1) / (signs.sy * lengths[1]);
    const OdGeVector3d z = transform.column(2) / (signs.sz * lengths[2]);
    if (std::fabs(x.dotProduct(y)) > kPerpendicular ||
        std::fabs(y.dotProduct(z)) > kPerpendicular ||
        std::fabs(z.dotProduct(x)) > kPerpendicular) {
        return kOdNotApplicable;
    }
    const bool isReversed = x.crossProduct(y).dotProduct(z) < 0.0;
    x = isReversed ? -x : x;
    const OdGePoint3d position = transform * blockOrigin();
    if (!odDbPlanar::isFinite(position)) {
        return kOdNotApplicable;
    }
    const OdGeVector3d normal = odDbPlanar::unit(z);
    const OdGePoint3d flat = odDbPlanar::toPlane(normal, OdGePoint3d::kOrigin + x);
    assertGraphicsWriteEnabled();
    m_position = position;
    m_normal = normal;
    m_rotation = odDbPlanar::normalAngle(std::atan2(flat.y, flat.x));
    m_scale.set((isReversed ? -signs.sx : signs.sx) * lengths[0], signs.sy * lengths[1],
                signs.sz * lengths[2]);
    return kOdOk;
}

void OdDbBlockReference::setPosition(OdGePoint3d const& position)
{
    write(m_position, odDbPlanar::finite(position));
}

void OdDbBlockReference::setRotation(double rotation)
{
    write(m_rotation, odDbPlanar::normalAngle(odDbPlanar::finite(rotation)));
}

void OdDbBlockReference::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbBlockReference::setScaleFactors(OdGeScale3d const& factors)
{
    write(m_scale, OdGeScale3d(checkedFactor(factors.sx), checkedFactor(factors.sy),
                               checkedFactor(factors.sz)));
}

// ---------------------------------------------------------------------------------------------
// Content

OdResult OdDbBlockReference::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    return odDbPlanar::giveExtents(ExtentsFinder().find(*this), extents);
}

unsigned OdDbBlockReference::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::openBlock(m_block);
    if (block.isNull() || !DrawnBlock::mayBeDrawn(m_block)) {
        return kDrawableIsCompound | kDrawableIsTruncated;
    }
    const DrawnBlock drawn(m_block);
    const ModelTransform transform(worldDraw->geometry(), transformAbout(block->origin()));
    for (auto at = block->newIterator(); !at->done(); at->step()) {
        if (worldDraw->regenAbort()) {
            return kDrawableIsCompound | kDrawableIsTruncated;
        }
        const OdDbEntityPtr entity = at->entity();
        if (!entity.isNull()) {
            worldDraw->geometry().draw(entity.get());
        }
    }
    return kDrawableIsCompound;
}

OdResult OdDbBlockReference::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_block = filer->rdHardPointerId();
    m_position = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_rotation = odDbPlanar::readFinite(*filer);
    const OdGeScale3d scale = filer->rdScale3d();
    if (!std::isnormal(scale.sx) || !std::isnormal(scale.sy) || !std::isnormal(scale.sz)) {
        throw OdError(kOdBadStream);
    }
    m_scale = scale;
    return kOdOk;
}

void OdDbBlockReference::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrHardPointerId(m_block);
    filer->wrPoint3d(m_position);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_rotation);
    filer->wrScale3d(m_scale);
}
