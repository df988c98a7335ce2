// Objects of classes that aren't registered, carried without loss.

#pragma once

#include "db/od_db_object_store.h"

/// Stands for an object whose class isn't registered: it keeps the object's stored bytes and
/// references, takes part in ownership, reactors, erasing and undo, and saves them as they were.
/// When the class is registered later, the object itself takes its place.
class OdDbProxyObject : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbProxyObject);

public:
    OdDbProxyObject();
    ~OdDbProxyObject() override;

    /// Names and flags of the object's own class.
    OdDbClassRecord originalClass() const;
    OdString originalClassName() const { return originalClass().name; }
    /// What the object's own class filed, behind the fields of the base class.
    OdDbStoredBody const& body() const noexcept { return m_body; }
    /// The drawing version that the body was filed for, which a copy keeps; it is read again by no
    /// other.
    int bodyVersion() const noexcept { return m_bodyVersion; }

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdDbStoredBody m_body;
    int m_bodyVersion = OdDb::kDwgVersionCurrent;
};

using OdDbProxyObjectPtr = OdSmartPtr<OdDbProxyObject>;
