// Overrules: objects that change what a class's own operations do.

#pragma once

#include "root/od_rx_class.h"

/// Base of all overrules. Attached to a class, it holds for objects of that class and of the
/// classes derived from it, as far as `isApplicable` agrees.
class OdRxOverrule : public OdRxObject
{
    RX_DECLARE_CLASS(OdRxOverrule);

public:
    /// Whether this overrule wants to act on `object`; borrowed for the call.
    virtual bool isApplicable(OdRxObject const* object) const = 0;

    /// Attaches an overrule to a class and holds a reference to it until it is removed.
    ///
    /// \param atEnd  True to be called after the overrules already there, false before them.
    /// \return False, and nothing happens, if it is attached to that class already or a pointer is
    ///         null.
    static bool addOverrule(OdRxClass* cls, OdRxOverrule* overrule, bool atEnd = false);
    /// Takes an overrule away; one that isn't there is harmless. \return Whether it was there.
    static bool removeOverrule(OdRxClass* cls, OdRxOverrule* overrule);
};

/// The first applicable overrule of class `kind` for an object, searched from the object's class up
/// to the root; the search starts behind `after`, if that isn't null. Null if there is none.
OdRxOverrule* odrxFindOverrule(OdRxObject const* object, OdRxClass const* kind,
                               OdRxOverrule const* after = nullptr);
