// The state of a clone operation, and how it is carried out.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

class OdDbDictionary;
class OdDbIdXlateFiler;

/// What a mapping knows of the operation that uses it.
///
/// An operation runs from the outermost call to its end; calls from inside join it. Clones stay open
/// for write until they are translated, so that nobody is told of them before their references are
/// right. All changes of the destination lie in a transaction, which is aborted if anything throws.
///
/// A class may catch what is thrown inside and go on. Then all that was made since the failed call
/// began is taken back, so no half-made clone stays. An object of the destination whose content was
/// being replaced can't be taken back alone; the whole operation fails in its end.
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
            return guarded(work);
        }
        const OdDbIdMappingPtr kept(&m_mapping);  // what is called may let go of the last reference
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
    /// Clones what nothing owns, behind all else.
    void cloneUnowned();
    /// Translates what waits for it, when the mapping goes. What can't be translated is erased.
    void finishLeftOver() noexcept;
    /// Notes that a clone refers from a block to one that may contain it. The operation fails if that
    /// makes a block contain itself.
    void noteBlockReference(OdDbObjectId owner, OdDbObjectId block);

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
    /// An object that lies too deep to be reached by calls.
    struct PutOff
    {
        OdDbObjectId source;
        OdDbObjectPtr owner;  ///< or the dictionary to merge with
        OdDb::FilerType type;
        bool isMerged = false;
    };
    /// An earlier operation's clone, as it was before this one translated it.
    struct Untranslated
    {
        OdDbObjectPtr clone;
        OdDbObjectId owner;
        OdDbMemoryFiler::Bytes bytes;
    };
    /// How far an operation has come.
    struct Mark
    {
        std::size_t waiting = 0;
        std::size_t copied = 0;
        std::size_t putOff = 0;
        std::size_t reached = 0;
        std::size_t merged = 0;
        OdDbIdMapping::Mark pairs;
        OdDbObject const* entering = nullptr;
        std::size_t emptied = 0;
    };
    /// A block, and one that a clone in it shows.
    struct Shown
    {
        OdDbObjectId owner;
        OdDbObjectId block;

        friend bool operator==(Shown const&, Shown const&) noexcept = default;
    };
    struct HashOfShown
    {
        std::size_t operator()(Shown const& shown) const noexcept
        {
            const std::hash<OdDbObjectId> hash;
            return hash(shown.owner) * 31 + hash(shown.block);
        }
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
    /// Adds to the level for as long as it lives.
    class LevelGuard
    {
    public:
        explicit LevelGuard(int& level) : m_level(level) { ++m_level; }
        LevelGuard(LevelGuard const&) = delete;
        LevelGuard& operator=(LevelGuard const&) = delete;
        ~LevelGuard() { --m_level; }

    private:
        int& m_level;
    };
    /// Memory that one object's cloning leaves to the next one.
    struct Scratch
    {
        OdDbMemoryFiler::Bytes bytes;
        std::vector<OdDbReference> references;
    };

    /// Levels of ownership that are followed by calls; what lies deeper is put off to the end of the
    /// operation, so that no chain of owners is too long for the stack.
    static constexpr int kDeepestLevel = 256;

    void setDatabases(OdDbDatabase& orig, OdDbDatabase& dest);
    OdDbDatabase& orig() const { return *m_orig; }
    OdDbDatabase& dest() const { return *m_dest; }
    void begin();
    void finish(bool isDeferred);
    void abandon() noexcept;
    void clearRest() noexcept;
    Mark mark() const noexcept;
    /// Does a step of which nothing stays if it throws.
    template <class Step>
    auto guarded(Step const& step)
    {
        const Mark before = mark();
        try {
            return step();
        } catch (...) {
            takeBack(before);
            throw;
        }
    }
    void takeBack(Mark const& before) noexcept;
    void makeHarmless(std::size_t firstWaiting) noexcept;
    void eraseWaiting(std::size_t firstWaiting) noexcept;
    void cloneRest();
    void expectFrom(std::size_t index) const noexcept;
    void translateWaiting();
    void keepUntranslated(OdDbObjectPtr const& clone);
    void bringBackUntranslated() noexcept;
    void requireNoCycles() const;
    void translate(OdDbIdXlateFiler& filer, OdDbMemoryFiler::Bytes& bytes, Waiting const& waiting);

    OdDbObjectPtr cloneGuarded(OdDb::FilerType type, OdDbObject const& source, OdDbObject* owner,
                               bool isPrimary);
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

    Meeting meet(OdDbObject const& source, OdDbObject& owner, OdDbObjectId& present);
    Meeting meetRecord(OdDbObject const& source, OdDbObject& owner, OdDbObjectId& present) const;
    Meeting meetEntry(OdDbObject const& source, OdDbObject& owner, OdDbObjectId& present);
    bool isRootOfDestination(OdDbObjectId id) const;
    void noteFilled(OdDbObjectId block);
    bool holdsFilled(OdDbObjectId block) const;
    void merge(OdDbObject const& source, OdDbObjectId target);
    void mergeEntries(OdDbObject const& source, OdDbObject& target);
    OdDbObjectPtr emptied(OdDbObjectId id);
    static void eraseOwned(OdDbObjectPtr const& object);
    void reach(OdDbObjectId id, int depth = 0);
    OdDbObjectId counterpartOf(OdDbObjectId owner, int depth);
    OdDbObjectId counterpartOfDictionary(OdDbObject const& dictionary, int depth);

    OdDbIdMapping& m_mapping;
    OdDbDatabasePtr m_orig;  ///< while an operation is under way or clones wait
    OdDbDatabasePtr m_dest;
    std::vector<Waiting> m_waiting;
    std::vector<PutOff> m_putOff;
    std::vector<OdDbObjectId> m_reached;  ///< by hard pointers
    std::vector<Copied> m_copied;
    std::vector<Untranslated> m_untranslated;
    std::unordered_set<OdDbObjectId> m_merged;  ///< dictionaries of the source
    std::vector<OdDbObjectId> m_mergedInOrder;
    std::vector<OdDbObjectId> m_filled;  ///< blocks that get clones
    /// What clones show of blocks that the operation hasn't made.
    std::unordered_set<Shown, HashOfShown> m_shown;
    std::exception_ptr m_spoilt;  ///< why an object could not be replaced
    std::size_t m_emptied = 0;    ///< objects of the destination that made room for clones
    Scratch m_scratch;
    OdDbObject const* m_entering =
        nullptr;    ///< to be listed by its owner although it isn't primary
    Mark m_before;  ///< what operations before this one have left
    int m_level = 0;
    bool m_isUnderWay = false;
    bool m_takesRoots = false;  ///< clones of standard objects go into those of the destination
};

/// The name that an object has in the dictionary that owns it; empty if there is none.
OdString odDbNameInOwner(OdDbObject const& object);
/// Whether a name is one that a dictionary makes for an entry without one; it says nothing elsewhere.
bool odDbIsHiddenName(OdString const& name);
/// A name made of one that is taken, free according to `isTaken`.
OdString odDbMangledName(OdString const& prefix, OdString const& name,
                         std::function<bool(OdString const&)> const& isTaken);
/// What stands before a name in the mangled names of a mapping.
OdString odDbManglingPrefix(OdDbIdMapping const& mapping);
/// The name without a mangling; the name itself if it has none.
OdString odDbUnmangledName(OdString const& name);
