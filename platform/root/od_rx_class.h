// Descriptions of runtime classes: their registration, their dictionary, protocol extensions.

#pragma once

#include "root/od_rx_object.h"
#include "root/od_smart_ptr.h"
#include "root/od_string.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

class OdRxOverrule;

/// Makes a new instance of a class; null for an interface.
using OdPseudoConstructor = OdRxObjectPtr (*)();
/// Lets an application change the application string under which a class is stored.
using OdAppNameChangeFunction = void (*)(OdRxClass const* cls, OdString& appName, int saveVersion);

/// What a class registers with. All texts are literals.
struct OdRxClassInfo
{
    wchar_t const* name;           ///< registered name; streams store it
    int dwgVersion = 0;            ///< drawing version that introduced the class, 0 for none
    int maintenanceVersion = 0;    ///< maintenance release of that version
    int proxyFlags = 0;            ///< what may be done to a proxy of the class
    wchar_t const* dxfName = L"";  ///< name in interchange files; empty for a transient class
    wchar_t const* appName = L"";  ///< application string, shown when the class is missing
};

/// The description of one registered class.
///
/// Made by `newOdRxClass` and owned by the class dictionary until `deleteOdRxClass`. Used on the
/// thread that loads modules; nothing here is locked.
class OdRxClass : public OdRxObject
{
public:
    static OdRxClass* desc();
    static OdSmartPtr<OdRxClass> cast(OdRxObject const* object);
    static void rxInit();
    static void rxUninit();
    OdRxClass* isA() const override;
    OdRxObject* queryX(OdRxClass const* cls) const override;

    OdString const& name() const noexcept { return m_name; }
    OdString const& dxfName() const noexcept { return m_dxfName; }
    OdString const& appName() const noexcept { return m_appName; }
    int dwgVersion() const noexcept { return m_dwgVersion; }
    int maintenanceVersion() const noexcept { return m_maintenanceVersion; }
    int proxyFlags() const noexcept { return m_proxyFlags; }
    unsigned customFlags() const noexcept { return m_customFlags; }
    /// Grows from each registration in this process to the next, so classes can be listed in the
    /// order in which they were registered.
    std::uint64_t registrationNumber() const noexcept { return m_registrationNumber; }

    /// The class that this one derives from; null for the root.
    OdRxClass* parent() const noexcept { return m_parent; }
    /// Whether this class is `cls` or derives from it; false for null.
    bool isDerivedFrom(OdRxClass const* cls) const noexcept;
    /// A new instance; null for an interface.
    OdRxObjectPtr create() const;
    /// The application string for a file of version `saveVersion`, after the change function that
    /// the class may have been registered with.
    OdString appNameFor(int saveVersion) const;

    /// \name Protocol extensions
    /// One object serves all objects of the class and of the classes derived from it.
    /// @{
    /// The extension attached under `protocol` to this class or, failing that, to the nearest base.
    OdRxObjectPtr getX(OdRxClass const* protocol) const;
    /// Attaches an extension and holds a reference to it; a second one under the same class
    /// replaces the first. Null takes the attached one away. \return The one replaced, or null.
    /// \throws OdError (class not registered) if `protocol` is null, OdError_NotThatKindOfClass if
    ///         the extension isn't of class `protocol`.
    OdRxObjectPtr addX(OdRxClass* protocol, OdRxObject* extension);
    /// Takes an extension away. \return The one taken, or null.
    OdRxObjectPtr delX(OdRxClass* protocol);
    /// What is attached to this class alone, each with the class that it is attached under.
    std::vector<std::pair<OdRxClass const*, OdRxObjectPtr>> const& extensions() const noexcept
    {
        return m_extensions;
    }
    /// @}

    /// How many objects of this very class are alive that `OdRxObjectImpl` counts references for,
    /// also those made before the class was last registered.
    std::int64_t livingCount() const noexcept
    {
        return m_livingCount->load(std::memory_order_relaxed);
    }

    /// Overrules of this class alone, first called first; bases have their own.
    std::vector<OdRxOverrule*> const& overrules() const noexcept { return m_overrules; }

protected:
    OdRxClass() = default;
    ~OdRxClass() override;

private:
    friend OdRxClass* newOdRxClass(OdString const&, OdRxClass*, OdPseudoConstructor, int, int, int,
                                   OdString const&, OdString const&, OdAppNameChangeFunction,
                                   unsigned);
    friend void deleteOdRxClass(OdRxClass*);
    friend class OdRxLivingMark;
    friend class OdRxOverrule;

    OdString m_name;
    OdString m_dxfName;
    OdString m_appName;
    OdRxClass* m_parent = nullptr;
    OdPseudoConstructor m_create = nullptr;
    OdAppNameChangeFunction m_changeAppName = nullptr;
    int m_dwgVersion = 0;
    int m_maintenanceVersion = 0;
    int m_proxyFlags = 0;
    unsigned m_customFlags = 0;
    std::uint64_t m_registrationNumber = 0;
    std::atomic<std::int64_t>* m_livingCount = nullptr;
    std::vector<std::pair<OdRxClass const*, OdRxObjectPtr>> m_extensions;
    std::vector<OdRxOverrule*> m_overrules;

    static OdRxClass* g_pDesc;
};

/// The registered classes by name. Iteration is in order of names.
class OdRxClassDictionary
{
public:
    /// The class registered under a name, compared with case; null if there is none.
    OdRxClass* getAt(OdString const& name) const;
    std::size_t size() const noexcept { return m_classes.size(); }
    /// Changes whenever a class comes or goes, so that what was found by name can be kept.
    std::uint64_t revision() const noexcept { return m_revision; }
    auto begin() const noexcept { return m_classes.begin(); }
    auto end() const noexcept { return m_classes.end(); }

private:
    friend OdRxClass* newOdRxClass(OdString const&, OdRxClass*, OdPseudoConstructor, int, int, int,
                                   OdString const&, OdString const&, OdAppNameChangeFunction,
                                   unsigned);
    friend void deleteOdRxClass(OdRxClass*);

    std::map<OdString, OdRxClass*> m_classes;
    std::uint64_t m_revision = 1;
};

/// The dictionary of all registered classes; lives as long as the process.
OdRxClassDictionary* odrxClassDictionary();

/// Registers a class.
///
/// \param className  Name in the dictionary and in streams.
/// \param base       Registered base class; null only for the root.
/// \param create     Makes instances; null or a function that gives null for an interface.
/// \throws OdError (class already registered) if the name is taken, (class not registered) if the
///         base is null, that is not registered, and the class isn't the root.
OdRxClass* newOdRxClass(OdString const& className, OdRxClass* base, OdPseudoConstructor create,
                        int dwgVersion = 0, int maintenanceVersion = 0, int proxyFlags = 0,
                        OdString const& dxfName = OdString(), OdString const& appName = OdString(),
                        OdAppNameChangeFunction changeAppName = nullptr, unsigned customFlags = 0);

/// Takes a class out of the dictionary and drops every attachment in which it is host or protocol.
/// The description is gone afterwards; null is allowed.
void deleteOdRxClass(OdRxClass* cls);

/// A new instance of the class registered under a name; null for an unknown name or an interface.
OdRxObjectPtr odrxCreateObject(OdString const& className);

/// \name Building blocks of the class macros
/// @{
/// Pseudo-constructor of a class that can be made.
template <class T>
OdRxObjectPtr odrxCreate()
{
    return odrxMake<T>();
}
/// Pseudo-constructor of an interface, which only the host can make.
inline OdRxObjectPtr odrxCreateNothing()
{
    return OdRxObjectPtr();
}
/// Fills `slot` with a new description. \throws OdError (class already registered) if it is filled.
void odrxRegister(OdRxClass*& slot, OdRxClass* base, OdRxClassInfo const& info,
                  OdPseudoConstructor create, OdAppNameChangeFunction changeAppName);
/// Empties `slot`. \throws OdError (class not registered) if it is empty.
void odrxUnregister(OdRxClass*& slot);
/// The answer of `queryX` for an object of class `own`.
OdRxObject* odrxQuery(OdRxObject const* object, OdRxClass const* own, OdRxClass const* asked);
/// @}

/// Declares the members of a runtime class; stands first in the class body and leaves it `private`.
///
///     static OdRxClass* desc();                              its description or null
///     static OdSmartPtr<Class> cast(OdRxObject const*);      null on the wrong class
///     OdRxClass* isA() const override;
///     OdRxObject* queryX(OdRxClass const*) const override;
///     static void rxInit();  static void rxInit(OdAppNameChangeFunction);  static void rxUninit();
///     static OdRxObjectPtr pseudoConstructor();              null for an interface
///     private: static OdRxClass* g_pDesc;                    null while not registered
#define RX_DECLARE_CLASS(Class)                                                                    \
public:                                                                                            \
    static OdRxClass* desc();                                                                      \
    static OdSmartPtr<Class> cast(OdRxObject const* object);                                       \
    OdRxClass* isA() const override;                                                               \
    OdRxObject* queryX(OdRxClass const* cls) const override;                                       \
    static void rxInit();                                                                          \
    static void rxInit(OdAppNameChangeFunction changeAppName);                                     \
    static void rxUninit();                                                                        \
    static OdRxObjectPtr pseudoConstructor();                                                      \
                                                                                                   \
private:                                                                                           \
    static OdRxClass* g_pDesc

/// Defines what `RX_DECLARE_CLASS` declares, but for `queryX`, which `RX_DEFINE_CLASS` adds and a
/// class with companions writes by hand.
///
/// `create` is `odrxCreate<Class>` or `odrxCreateNothing`; the rest initialises an `OdRxClassInfo`.
#define RX_DEFINE_CLASS_WITHOUT_QUERY(Class, Base, create, ...)                                    \
    OdRxClass* Class::g_pDesc = nullptr;                                                           \
    OdRxClass* Class::desc()                                                                       \
    {                                                                                              \
        return g_pDesc;                                                                            \
    }                                                                                              \
    OdSmartPtr<Class> Class::cast(OdRxObject const* object)                                        \
    {                                                                                              \
        return OdSmartPtr<Class>::attach(OdSmartPtr<Class>::internalQueryX(object));               \
    }                                                                                              \
    OdRxClass* Class::isA() const                                                                  \
    {                                                                                              \
        return g_pDesc;                                                                            \
    }                                                                                              \
    void Class::rxInit()                                                                           \
    {                                                                                              \
        rxInit(nullptr);                                                                           \
    }                                                                                              \
    void Class::rxInit(OdAppNameChangeFunction changeAppName)                                      \
    {                                                                                              \
        odrxRegister(g_pDesc, Base::desc(), OdRxClassInfo{__VA_ARGS__}, &Class::pseudoConstructor, \
                     changeAppName);                                                               \
    }                                                                                              \
    void Class::rxUninit()                                                                         \
    {                                                                                              \
        odrxUnregister(g_pDesc);                                                                   \
    }                                                                                              \
    OdRxObjectPtr Class::pseudoConstructor()                                                       \
    {                                                                                              \
        return create();                                                                           \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

/// Defines all that `RX_DECLARE_CLASS` declares.
#define RX_DEFINE_CLASS(Class, Base, create, ...)                                                  \
    OdRxObject* Class::queryX(OdRxClass const* cls) const                                          \
    {                                                                                              \
        return odrxQuery(this, g_pDesc, cls);                                                      \
    }                                                                                              \
    RX_DEFINE_CLASS_WITHOUT_QUERY(Class, Base, create, __VA_ARGS__)
