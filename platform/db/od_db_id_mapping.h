// What became of each object in a clone operation.

#pragma once

#include "db/od_db_memory_filer.h"

#include <map>

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

/// The pairs of a clone operation, each key once; iteration is in order of keys.
class OdDbIdMapping : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbIdMapping);

public:
    static OdSmartPtr<OdDbIdMapping> createObject();

    /// Fills value and flags of the pair with its key. \return False, with the pair untouched, for
    /// a key that wasn't met.
    bool compute(OdDbIdPair& pair) const;
    /// Enters a pair, or replaces the one with its key.
    void assign(OdDbIdPair const& pair);
    std::size_t size() const noexcept { return m_pairs.size(); }
    OdSmartPtr<OdDbIdMappingIterator> newIterator() const;

    OdDb::DeepCloneType deepCloneContext() const noexcept { return m_context; }
    void setDeepCloneContext(OdDb::DeepCloneType context) noexcept { m_context = context; }
    OdDbDatabase* origDb() const noexcept { return m_origDb; }
    OdDbDatabase* destDb() const noexcept { return m_destDb; }
    void setOrigDb(OdDbDatabase* database) noexcept { m_origDb = database; }
    void setDestDb(OdDbDatabase* database) noexcept { m_destDb = database; }
    OdDb::DuplicateRecordCloning duplicateRecordCloning() const noexcept { return m_duplicates; }
    void setDuplicateRecordCloning(OdDb::DuplicateRecordCloning style) noexcept
    {
        m_duplicates = style;
    }

private:
    friend class OdDbIdMappingIterator;

    std::map<OdDbObjectId, OdDbIdPair> m_pairs;
    OdDbDatabase* m_origDb = nullptr;
    OdDbDatabase* m_destDb = nullptr;
    OdDb::DeepCloneType m_context = OdDb::DeepCloneType::kDcCopy;
    OdDb::DuplicateRecordCloning m_duplicates = OdDb::DuplicateRecordCloning::kDrcNotApplicable;
};

/// Walks a mapping that stays unchanged meanwhile, and keeps it alive.
class OdDbIdMappingIterator : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbIdMappingIterator);

public:
    explicit OdDbIdMappingIterator(OdDbIdMapping const& mapping);

    bool done() const;
    void next();
    OdDbIdPair const& getMap() const;

private:
    OdSmartPtr<OdDbIdMapping> m_mapping;
    std::map<OdDbObjectId, OdDbIdPair>::const_iterator m_at;
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
