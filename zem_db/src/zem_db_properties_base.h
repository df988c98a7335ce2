// Root of the implementation classes that keep their fields in a property bag.

#pragma once

#include "zem_properties.h"

/// Holds the bag of one database object and files it.
///
/// Derived classes bind their fields to the bag in their constructor, so that filing the bag files
/// the fields. An object of this kind belongs to its database object, which checks the open mode.
class ZemDbPropertiesBase
{
public:
    ZemDbPropertiesBase(ZemDbPropertiesBase const&) = delete;
    ZemDbPropertiesBase& operator=(ZemDbPropertiesBase const&) = delete;
    virtual ~ZemDbPropertiesBase();

    /// Puts out the bag.
    virtual void dwgOutFields(OdDbDwgFiler* filer) const;
    /// Takes in the bag. \return What the bag's own reading gives: 0, (rejected version item) or
    /// (bad stream).
    virtual OdResult dwgInFields(OdDbDwgFiler* filer);

    ZemProperties& properties() noexcept { return m_properties; }
    ZemProperties const& properties() const noexcept { return m_properties; }

protected:
    /// \param config   Bits of the bag, see `ZemProperties`.
    /// \param version  Class version of the object that is stored through the bag.
    explicit ZemDbPropertiesBase(int config = 0, int version = 0);

    ZemProperties m_properties;
};
