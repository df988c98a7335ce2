// Persistent links to objects, and to faces, edges and vertices of them.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"

#include "zem_compound_object_id.h"

#include <cstdint>
#include <memory>

class ZemProperties;

/// \name Names in the bag of a link
/// They stand in drawings.
/// @{
extern const OdString kTagKey;       ///< `entityTag`: "entity_tag"
extern const OdString kBodyHashKey;  ///< `bodyHash`: "body_top_hash"
/// @}

/// One link that keeps naming an object, or a part of it, while solids are edited.
///
/// Features and constraints hold the id of a link rather than a path: after an edit the path of the
/// link is set anew, and who holds the link needs not know. Links are owned by the manager of their
/// block, and are listed by the companion of the entity in which their path starts.
///
/// Drawings hold very many links, so a link is small: it has no block of memory but its own while its
/// path is a single id and nobody has asked for its bag.
class ZemDbObjectDependency : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbObjectDependency);

public:
    ZemDbObjectDependency();
    ~ZemDbObjectDependency() override;

    /// \name Path
    /// Readers throw OdError (not open for read), setters OdError (not open for write).
    /// @{
    /// Resolves the path. External drawings that it leads through are loaded if they aren't.
    ///
    /// \param path        Receives the ids, as far as they could be resolved, and the part.
    /// \param openErased  Whether a path may lead to, or through, what is erased.
    /// \return 0; (unresolved path) if a step can't be taken.
    OdResult getLinkObject(OdDbFullSubentPath& path, bool openErased) const;
    /// As above; a path that can't be resolved is given as far as it could be.
    OdDbFullSubentPath getLinkObject(bool openErased) const;
    /// Makes this a link to a part, or with a null sub-entity id to the object itself. Of the part's
    /// index the lower 32 bits are filed: a part with a negative type or index, or with an index above
    /// 2^31 - 1, is kept in memory only, and a link to it can't be read back.
    void setLinkObject(OdDbFullSubentPath const& path);
    /// The object in the drawing's own block that the path starts from: the outermost reference, or
    /// the entity itself; null for a link that leads nowhere.
    OdDbObjectId getInsertId() const;
    /// The ids in stored form. Valid until the link is changed.
    ZemCompoundObjectId const& compoundId() const;
    void setCompoundId(ZemCompoundObjectId const& compoundId);
    /// The part; of a null type for the object itself.
    OdDbSubentId const& subentId() const;
    /// Counts the links of all drawings that were read again after they had a path, as undo does, or
    /// got another path while their owner didn't list them. Who keeps what paths links have looks again
    /// after it has changed; any other path that is set is told to the manager that owns the link.
    static std::uint64_t rereadRevision() noexcept;
    /// @}

    /// \name Marks of the maker
    /// They throw as the operations on the path.
    /// @{
    /// For which purpose the link was made; 0 at first.
    int entityTag() const;
    void setEntityTag(int tag);
    /// A hash of the body, computed by the host; 0 at first.
    int bodyHash() const;
    void setBodyHash(int hash);
    /// @}

    /// Whether anybody watches the link: a persistent reactor, of any class, can be opened.
    /// \throws OdError (not open for read).
    bool isWatched() const;

    using OdDbObject::clone;
    /// A new link, in no database, with the tag and the hash of this one and a path of its own.
    /// Nobody watches it.
    /// \throws OdError (class not registered); (not open for read).
    OdSmartPtr<ZemDbObjectDependency> clone(OdDbFullSubentPath const& path) const;

    /// \name Bag
    /// It holds tag and hash, and what callers add to it. What is added is filed along with them
    /// only: not for a link that has neither a tag, nor a hash, nor references in its path, and not
    /// for drawings of a version below 30.
    /// @{
    /// For reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// For changes, which become part of undo as far as they are filed, see above.
    /// \throws OdError (not open for write).
    ZemProperties& getWriteProperties();
    /// @}

    /// A link in the oldest form has no tag and no hash, and a single id for its path. Links that
    /// came with a version 2 have a bag of texts and no path.
    ///
    /// \return 0; (newer link format), with the fields unchanged; (bad stream) for a negative part;
    ///         (rejected version) for version 2, always; what the bag answers.
    /// \throws OdError (not open for write); (bad stream).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// Writes the oldest form where that says it all, and for drawings of a version below 30, which
    /// lose tag, hash and all but the first id of the path.
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    /// A manager of links that gets a clone lists it; any other owner, or none, does nothing.
    void appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping) override;

private:
    void tellOwnerOfPath(bool hadPath) const;
    std::unique_ptr<ZemProperties> makeProperties() const;
    ZemProperties& properties() const;
    bool isPlain() const noexcept;
    void fileProperties(OdDbDwgFiler& filer) const;
    bool readUsualProperties(OdDbDwgFiler& filer);
    OdResult readProperties(OdDbDwgFiler& filer);
    OdResult readOldProperties(OdDbDwgFiler& filer);

    ZemCompoundObjectId m_compoundId;
    OdDbSubentId m_subentId;
    std::int32_t m_entityTag = 0;
    std::int32_t m_bodyHash = 0;
    /// Bound to tag and hash; made when somebody asks for it, as few do, or a stream fills it.
    mutable std::unique_ptr<ZemProperties> m_properties;
};
