// What became of each object in a clone operation.

#pragma once

#include "db/od_db_memory_filer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class OdDbCloneOperation;
class OdDbDatabaseImpl;

/// One object met in a clone operation and what stands for it in the destination.
class OdDbIdPair
{
public:
    OdDbIdPair() = default;
    explicit OdDbIdPair(OdDbObjectId key) : m_key(key) {}
    OdDbIdPair(OdDbObjectId key, OdDbObjectId value, bool isCloned, bool isPrimary = false,
               bool isOwnerTranslated = true)
        : m_key(key), m_value(value), m_isCloned(isCloned), m_isPrimary(isPrimary),
          m_isOwnerTranslated(isOwnerTranslated)
    {
    }

    OdDbObjectId key() const noexcept { return m_key; }
    OdDbObjectId value() const noexcept { return m_value; }
    /// Whether the value is a clone made by the operation.
    bool isCloned() const noexcept { return m_isCloned; }
    /// Whether the object was asked for, not reached through its owner.
    bool isPrimary() const noexcept { return m_isPrimary; }
    /// Whether the clone's owner is final.
    bool isOwnerTranslated() const noexcept { return m_isOwnerTranslated; }
    void setKey(OdDbObjectId key) noexcept { m_key = key; }
    void setValue(OdDbObjectId value) noexcept { m_value = value; }
    void setCloned(bool isCloned) noexcept { m_isCloned = isCloned; }
    void setPrimary(bool isPrimary) noexcept { m_isPrimary = isPrimary; }
    void setOwnerTranslated(bool translated) noexcept { m_isOwnerTranslated = translated; }

private:
    OdDbObjectId m_key;
    OdDbObjectId m_value;
    bool m_isCloned = false;
    bool m_isPrimary = false;
    bool m_isOwnerTranslated = false;
};

class OdDbIdMappingIterator;

/// The pairs of a clone operation, each key once.
///
/// Besides the clones it holds what was met without being cloned, such as the layer of the
/// destination that stands for one of the source. Iteration is in the order in which keys were first
/// entered, which for clones is the order in which they were made and the same in every run. A
/// mapping may serve several operations one after the other, each of which finds what the ones
/// before it have made; one that fails leaves it as it was. Every database whose ids a mapping holds
/// lives as long as the mapping.
///
/// Counts references by itself: with the last one, clones whose translation was put off, and never
/// asked for since, are translated, while classes may still hold the mapping. Those that can't be are
/// taken back.
class OdDbIdMapping : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbIdMapping);

public:
    OdDbIdMapping();
    ~OdDbIdMapping() override;
    static OdSmartPtr<OdDbIdMapping> createObject();

    void addRef() override { ++m_refs; }
    void release() override;
    long numRefs() const override { return m_refs; }

    /// Fills value and flags of the pair with its key. \return False, with the pair untouched, for
    /// a key that wasn't met.
    bool compute(OdDbIdPair& pair) const;
    /// Enters a pair, or replaces the one with its key.
    void assign(OdDbIdPair const& pair);
    std::size_t size() const noexcept { return m_pairs.size(); }
    OdSmartPtr<OdDbIdMappingIterator> newIterator() const;
    /// The pair of a key; null for one that wasn't met. Valid until the next change.
    OdDbIdPair const* find(OdDbObjectId key) const noexcept;
    /// Whether an id is that of a clone made since the last translation.
    bool isValue(OdDbObjectId id) const noexcept;
    /// What an id is to be replaced by: itself if it is that of a clone made since the last
    /// translation, else the value of its pair. \return Whether it is either.
    bool translate(OdDbObjectId id, OdDbObjectId& result) const noexcept;
    /// Says that an id is soon to be translated, so that what is known of it comes from memory
    /// meanwhile.
    void expect(OdDbObjectId id) const noexcept;

    OdDb::DeepCloneType deepCloneContext() const noexcept { return m_context; }
    void setDeepCloneContext(OdDb::DeepCloneType context) noexcept { m_context = context; }
    OdDbDatabase* origDb() const noexcept { return m_origDb.get(); }
    OdDbDatabase* destDb() const noexcept { return m_destDb.get(); }
    /// The databases that an operation goes from and to are set by the operation; setting others
    /// meanwhile changes nothing of what it does.
    void setOrigDb(OdDbDatabase* database);
    void setDestDb(OdDbDatabase* database);
    OdDb::DuplicateRecordCloning duplicateRecordCloning() const noexcept { return m_duplicates; }
    void setDuplicateRecordCloning(OdDb::DuplicateRecordCloning style) noexcept
    {
        m_duplicates = style;
    }

    /// For the cloning of the database layer: the operation that uses this mapping.
    OdDbCloneOperation& operation();

private:
    friend class OdDbIdMappingIterator;
    friend class OdDbCloneOperation;

    /// What is known of one id.
    struct Slot
    {
        OdDbObjectId value;            ///< of the pair with this key
        std::uint32_t pairNumber = 0;  ///< place of the pair with this key, from 1; 0 for none
        std::uint32_t epoch = 0;       ///< in which it was last entered as a clone; 0 for never
    };
    /// Slots of ids with neighbouring handles: clones are met in the order of their handles, mostly.
    /// A slot is found by the address of the id's record alone. The record itself isn't looked at,
    /// since random ones of a large drawing are in no cache.
    struct Page;
    struct Place
    {
        std::uintptr_t window = 0;  ///< of addresses
        Page* page = nullptr;
    };
    /// A pair that took the place of another one while an operation was under way.
    struct Replaced
    {
        std::size_t place;
        OdDbIdPair before;
    };
    /// How far a mapping was filled.
    struct Mark
    {
        std::size_t pairs = 0;
        std::size_t replaced = 0;
    };

    Slot* slotOf(OdDbIdRecord const* record) const noexcept;
    Slot& slotFor(OdDbIdRecord const& record);
    std::size_t placeOf(std::uintptr_t window) const noexcept;
    void grow();
    void keep(OdDbIdRecord const* record);
    Mark mark() const noexcept { return {m_pairs.size(), m_replaced.size()}; }
    /// Takes back what was entered since a mark, which was set by the operation under way.
    void rollBack(Mark const& mark) noexcept;
    void restore(std::size_t place, OdDbIdPair const& before) noexcept;
    void forgetClone(OdDbObjectId value) noexcept;

    std::vector<OdDbIdPair> m_pairs;
    std::vector<Replaced> m_replaced;  ///< while an operation is under way
    std::vector<std::unique_ptr<Page>> m_pages;
    /// Pages by window; open addressing, the size is a power of two.
    std::vector<Place> m_table;
    std::uint32_t m_epoch = 1;  ///< goes up with each translation
    OdSmartPtr<OdDbDatabase> m_origDb;
    OdSmartPtr<OdDbDatabase> m_destDb;
    std::vector<OdSmartPtr<OdDbDatabase>> m_kept;  ///< databases of the ids that are held
    OdDbDatabaseImpl const* m_lastKept = nullptr;  ///< one of them
    std::unique_ptr<OdDbCloneOperation> m_operation;
    OdDb::DeepCloneType m_context = OdDb::DeepCloneType::kDcCopy;
    OdDb::DuplicateRecordCloning m_duplicates = OdDb::DuplicateRecordCloning::kDrcNotApplicable;
    OdRxLivingMark m_living{desc()};
    long m_refs = 1;
};

using OdDbIdMappingPtr = OdSmartPtr<OdDbIdMapping>;

/// Walks a mapping and keeps it alive. Pairs that are entered meanwhile are met too.
class OdDbIdMappingIterator : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbIdMappingIterator);

public:
    explicit OdDbIdMappingIterator(OdDbIdMapping const& mapping);

    bool done() const;
    void next();
    /// The pair. \throws OdError_InvalidIndex at the end.
    OdDbIdPair getMap() const;

private:
    OdDbIdMappingPtr m_mapping;
    std::size_t m_at = 0;
};

/// The filer of a clone operation, which knows the operation's mapping.
class OdDbDeepCloneFiler : public OdDbMemoryFiler
{
    RX_DECLARE_CLASS(OdDbDeepCloneFiler);

public:
    OdDbDeepCloneFiler(OdDb::FilerType type, OdDbDatabase* database, OdDbIdMapping* mapping)
        : OdDbMemoryFiler(type, database), m_mapping(mapping)
    {
    }

    OdDbIdMapping* idMapping() const noexcept { return m_mapping; }

private:
    OdDbIdMapping* m_mapping;
};
