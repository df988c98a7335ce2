// The state of a clone operation, and how it is carried out.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

class OdDbDictionary;
class OdDbIdXlateFiler;

/// What a mapping knows of the operation that uses it.
///
/// An operation runs from the outermost call to its end; calls from inside join it. Clones stay open
/// for write until they are translated, so that nobody is told of them before their references are
/// right. All changes of the destination lie in a transaction, which is aborted if anything throws.
class OdDbCloneOperation
{
public:
    explicit OdDbCloneOperation(OdDbIdMapping& mapping) noexcept : m_mapping(mapping) {}
    OdDbCloneOperation(OdDbCloneOperation const&) = delete;
    OdDbCloneOperation& operator=(OdDbCloneOperation const&) = delete;

    bool isUnderWay() const noexcept { return m_isUnderWay; }
    /// Runs work as an operation of its own, or as part of the one that is under way.
    ///
    /// \param isDeferred  Leaves translation to a later operation with the same mapping.
    template <class Work>
    auto run(OdDbDatabase& orig, OdDbDatabase& dest, bool isDeferred, Work const& work)
    {
        setDatabases(orig, dest);
        if (m_isUnderWay) {
            return work();
        }
        Frame frame(*this);
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
            frame.finish(isDeferred);
        } else {
            auto result = work();
            frame.finish(isDeferred);
            return result;
        }
    }
    /// The base operation of both kinds of cloning.
    OdDbObjectPtr clone(OdDb::FilerType type, OdDbObject const& source, OdDbObject* owner,
                        bool isPrimary);
    /// Notes that what refers to the block of a source is to refer to the block of its clone.
    void mapOwner(OdDbObjectId sourceOwner, OdDbObjectId owner);
    /// Makes the standard objects of two databases stand for one another.
    void mapRoots();
    /// Clones one object by name into a container of names.
    void enter(OdDbObjectId source, OdDbObject& owner);
    /// Clones the extension dictionary of one object as, or into, that of another.
    void cloneExtensionDictionary(OdDbObject const& source, OdDbObject& target);
    /// Clones the source's tables and its dictionary of named objects, with all that they own, into
    /// those of the destination, which is new.
    void cloneIntoRoots();
    /// Translates what waits for it, when the mapping goes.
    void finishLeftOver() noexcept;

private:
    /// The outermost call of an operation.
    class Frame
    {
    public:
        explicit Frame(OdDbCloneOperation& operation) : m_operation(operation)
        {
            operation.begin();
        }
        Frame(Frame const&) = delete;
        Frame& operator=(Frame const&) = delete;
        ~Frame()
        {
            if (m_operation.m_isUnderWay) {
                m_operation.abandon();
            }
        }
        void finish(bool isDeferred) { m_operation.finish(isDeferred); }

    private:
        OdDbCloneOperation& m_operation;
    };

    /// A clone that waits for its translation.
    struct Waiting
    {
        OdDbObjectPtr clone;
        OdDbObjectId
            sourceOwner;  ///< whose counterpart becomes the owner; null if the clone has one
        bool isReplaced = false;  ///< stood in the destination before
    };
    /// An owned object that lies too deep to be reached by calls.
    struct PutOff
    {
        OdDbObjectId source;
        OdDbObjectPtr owner;
        OdDb::FilerType type;
    };
    struct Copied
    {
        OdDbObjectPtr source;
        OdDbObjectPtr clone;
    };
    /// What becomes of an object whose name is met in its new owner.
    enum class Meeting
    {
        kMake,
        kUse,
        kMerge,
        kReplace
    };
    /// Memory that one object's cloning leaves to the next one.
    struct Scratch
    {
        OdDbMemoryFiler::Bytes bytes;
        std::vector<OdDbReference> references;
    };

    void setDatabases(OdDbDatabase& orig, OdDbDatabase& dest);
    void begin();
    void finish(bool isDeferred);
    void abandon() noexcept;
    void cloneRest();
    void translateWaiting();
    void translate(OdDbIdXlateFiler& filer, OdDbMemoryFiler::Bytes& bytes, Waiting const& waiting);

    OdDbObjectPtr copy(OdDb::FilerType type, OdDbObject const& source, OdDbObject* owner,
                       bool isPrimary, OdDbObjectPtr replaced, std::vector<OdDbObjectId>& owned);
    OdDbObjectPtr newInstance(OdDbObject const& source, OdDbObjectId owner);
    void sortReferences(OdDb::FilerType type, OdDbObject const& source,
                        std::vector<OdDbReference> const& references,
                        std::vector<OdDbObjectId>& owned);
    void list(OdDbObject& clone, OdDbObject& owner, OdDbObjectId key, bool isPrimary);
    void cloneOwned(OdDb::FilerType type, std::vector<OdDbObjectId> const& owned,
                    OdDbObjectPtr const& clone);
    void cloneOne(OdDb::FilerType type, OdDbObjectId source, OdDbObject& owner);

    Meeting meet(OdDbObject const& source, OdDbObject& owner, OdDbObjectId& present) const;
    Meeting meetRecord(OdDbObject const& source, OdDbObject& owner, OdDbObjectId& present) const;
    Meeting meetEntry(OdDbObject const& source, OdDbObject& owner, OdDbObjectId& present) const;
    bool isRootOfDestination(OdDbObjectId id) const;
    void merge(OdDbObject const& source, OdDbObjectId target);
    OdDbObjectPtr emptied(OdDbObjectId id);
    void reach(OdDbObjectId id, int depth = 0);
    OdDbObjectId counterpartOf(OdDbObjectId owner, int depth);
    OdDbObjectId counterpartOfDictionary(OdDbObject const& dictionary, int depth);

    OdDbIdMapping& m_mapping;
    OdDbDatabasePtr m_keptOrig;  ///< while clones wait, ids of both databases are in use
    OdDbDatabasePtr m_keptDest;
    std::vector<Waiting> m_waiting;
    std::vector<PutOff> m_putOff;
    std::vector<OdDbObjectId> m_reached;  ///< by hard pointers
    std::vector<Copied> m_copied;
    Scratch m_scratch;
    OdDbObject const* m_entering =
        nullptr;                      ///< to be listed by its owner although it isn't primary
    std::size_t m_waitingBefore = 0;  ///< from operations before this one
    std::size_t m_copiedBefore = 0;
    std::size_t m_pairsBefore = 0;
    int m_level = 0;
    bool m_isUnderWay = false;
    bool m_takesRoots = false;  ///< clones of standard objects go into those of the destination
};

/// The name that an object has in the dictionary that owns it; empty if there is none.
OdString odDbNameInOwner(OdDbObject const& object);
/// A name made of one that is taken, free according to `isTaken`.
OdString odDbMangledName(OdString const& prefix, OdString const& name,
                         std::function<bool(OdString const&)> const& isTaken);
/// What stands before a name in the mangled names of a mapping.
OdString odDbManglingPrefix(OdDbIdMapping const& mapping);
/// The name without a mangling; the name itself if it has none.
OdString odDbUnmangledName(OdString const& name);
