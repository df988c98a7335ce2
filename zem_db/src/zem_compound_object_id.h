// Ids that lead through block references, in a form that can be stored.

#pragma once

#include "db/od_db_handle.h"
#include "db/od_db_object_id.h"
#include "root/od_array.h"
#include "root/od_result.h"
#include "root/od_string.h"

#include <cstdint>
#include <span>

class OdDbDatabase;
class OdDbDwgFiler;

/// One step of a chain of ids. A value.
class BlockRefPathRecord
{
public:
    /// Where the object of a step lies. The numbers are stored and never change.
    enum State : std::int8_t
    {
        kEmpty = 0,            ///< nowhere; only a new record
        kInHostDatabase = 1,   ///< in the drawing that the chain starts in, known by its id
        kInOtherDatabase = 2,  ///< in another drawing, known by its handle there
    };

    constexpr BlockRefPathRecord() noexcept = default;

    /// Makes this a step in the drawing that the chain starts in.
    void setObjectId(OdDbObjectId id) noexcept
    {
        m_state = kInHostDatabase;
        m_objectId = id;
        m_handle = id.getHandle();
    }
    /// Makes this a step in another drawing.
    void setHandle(OdDbHandle handle) noexcept
    {
        m_state = kInOtherDatabase;
        m_handle = handle;
    }
    bool isInHostDatabase() const noexcept { return (m_state & kInHostDatabase) != 0; }
    /// The id of a step in the drawing that the chain starts in; null for any other.
    OdDbObjectId objectId() const noexcept
    {
        return m_state == kInHostDatabase ? m_objectId : OdDbObjectId::kNull;
    }
    /// The handle, in whatever drawing the object lies.
    OdDbHandle handle() const noexcept { return m_handle; }
    std::int8_t state() const noexcept { return m_state; }
    /// A number that is stored with the step and that nothing here decides by.
    std::int8_t kind() const noexcept { return m_kind; }
    void setKind(std::int8_t kind) noexcept { m_kind = kind; }

    void dwgOutFields(OdDbDwgFiler& filer) const;
    /// A step that is stored as empty comes back as one in another drawing.
    void dwgInFields(OdDbDwgFiler& filer);

private:
    std::int8_t m_kind = 0;
    std::int8_t m_state = kEmpty;
    OdDbObjectId m_objectId;
    OdDbHandle m_handle;
};

/// Names one object by the block references that lead to it, from the outside in; the object itself
/// comes last.
///
/// The references may cross from the drawing of the first step, the host drawing, into external
/// drawings. Steps in the host drawing are kept by id, steps in other drawings by handle: an external
/// drawing need not be loaded while such an id exists. The steps in the host drawing come first.
///
/// A value that is cheap to copy: copies share what is longer than one step until one is changed.
/// Copies may be read on several threads; a copy is changed on one.
class ZemCompoundObjectId
{
public:
    /// Name that stands in front of each chain in a stream.
    static const OdString kAcDbImpBlockRefPathObjectId;

    /// \name Queries
    /// @{
    /// Whether no references lead to the object: the chain has one step, or none.
    bool isSimpleObjectId() const noexcept { return size() < 2; }
    /// The number of steps.
    unsigned int size() const noexcept { return static_cast<unsigned int>(chain().size()); }
    /// The id of the first step; null for an empty chain and where that lies in another drawing.
    OdDbObjectId topId() const noexcept;
    /// The handle of a step; null for an index that isn't below `size()`.
    OdDbHandle getHandle(unsigned int i) const noexcept;
    /// The path of ids, as far as needed through external drawings, which are loaded if they aren't.
    ///
    /// \param out         Receives the path; what could be resolved of it after a failure.
    /// \param openErased  Whether objects that are erased, or no longer in the drawing, belong to a
    ///                    path. References that are erased are passed through then.
    /// \return 0, also for an empty chain; (unresolved path) if a step can't be taken.
    [[nodiscard]] OdResult getFullPathEx(OdDbObjectIdArray& out, bool openErased) const;
    /// The ids of the steps at the front that lie in the host drawing, whatever became of the
    /// objects.
    OdDbObjectIdArray getPathPrefix() const;
    /// The order of chains as keys: -1, 0 or +1. The shorter one comes first; else the last step
    /// that differs decides, by its handle and then by whether it lies in the host drawing.
    int compareTo(ZemCompoundObjectId const& other) const noexcept;
    /// @}

    /// \name Changing
    /// @{
    /// Makes the chain one step in the host drawing.
    void setTopId(OdDbObjectId const& id) noexcept;
    /// Replaces the steps by a path. Ids of the database that the first one was made for become
    /// steps in the host drawing.
    ///
    /// \param keepTail  Whether a chain that is at least as long as the path keeps its steps behind
    ///                  the path's. An empty path empties the chain all the same.
    void setFullPath(OdDbObjectIdArray const& path, bool keepTail);
    /// @}

    /// \name Filing
    /// @{
    /// Files the chain behind a mark that tells whether it is empty, and behind its name.
    /// \param database  Not used.
    void dwgOutFields(OdDbDwgFiler* filer, OdDbDatabase* database) const;
    /// Takes in what `dwgOutFields` has filed. The chain is empty after a failure.
    ///
    /// \param version  Below 0 for nothing to be read.
    /// \return 0; (rejected version) for a version below 0.
    /// \throws OdError (bad stream) for another name, and for a count of steps or texts that is
    ///         negative or that the filer can't hold.
    OdResult dwgInFields(OdDbDwgFiler* filer, int version);
    /// Files the steps. A clone filer gets the texts that came with them too.
    void impl_dwgOutFields(OdDbDwgFiler* filer) const;
    /// Takes in what `impl_dwgOutFields` has filed; nothing has changed after a failure.
    /// \throws OdError (bad stream) as `dwgInFields`.
    OdResult impl_dwgInFields(OdDbDwgFiler* filer);
    /// @}

private:
    using Records = OdArray<BlockRefPathRecord, OdMemoryAllocator<BlockRefPathRecord>>;

    std::span<BlockRefPathRecord const> chain() const noexcept;
    void setChain(Records records) noexcept;

    OdArray<OdString> m_strings;  ///< come with clones and go with them; nothing here reads them
    Records m_records;            ///< a chain of two steps or more; empty otherwise
    /// The step of a chain of one, as most chains are: no block of memory for it. Empty otherwise.
    BlockRefPathRecord m_single;
};
