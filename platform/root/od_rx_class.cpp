#include "root/od_rx_class.h"

#include "root/od_error.h"
#include "root/od_rx_overrule.h"

#include <algorithm>

OdRxClass* OdRxObject::g_pDesc = nullptr;
OdRxClass* OdRxClass::g_pDesc = nullptr;

namespace {

constexpr wchar_t kRootClassName[] = L"OdRxObject";

/// Descriptions live in the dictionary, so nobody's reference may delete one.
class RegisteredClass final : public OdStaticRxObject<OdRxClass>
{
public:
    RegisteredClass() = default;
    ~RegisteredClass() override = default;
};

/// The numbers of living objects by class name. A class whose objects outlive it, as those of a
/// module may, finds them counted when it is registered again.
std::map<OdString, std::atomic<std::int64_t>>& livingCounts()
{
    // Never destroyed: objects may end while the process does.
    static auto* const s_counts = new std::map<OdString, std::atomic<std::int64_t>>;
    return *s_counts;
}

void forgetLivingCount(OdString const& name)
{
    const auto found = livingCounts().find(name);
    if (found != livingCounts().end() && found->second.load(std::memory_order_relaxed) == 0) {
        livingCounts().erase(found);
    }
}

void requireRegistered(OdRxClass const* cls)
{
    if (cls == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
}

}  // namespace

OdRxObject::~OdRxObject() = default;

OdRxClass* OdRxObject::desc()
{
    return g_pDesc;
}

OdRxObjectPtr OdRxObject::cast(OdRxObject const* object)
{
    return OdRxObjectPtr(const_cast<OdRxObject*>(object));
}

void OdRxObject::rxInit()
{
    odrxRegister(g_pDesc, nullptr, OdRxClassInfo{kRootClassName}, &odrxCreateNothing, nullptr);
}

void OdRxObject::rxUninit()
{
    odrxUnregister(g_pDesc);
}

OdRxClass* OdRxObject::isA() const
{
    return g_pDesc;
}

OdRxObject* OdRxObject::queryX(OdRxClass const* cls) const
{
    return odrxQuery(this, isA(), cls);
}

OdRxObject* OdRxObject::x(OdRxClass const* cls) const
{
    return queryX(cls);
}

bool OdRxObject::isKindOf(OdRxClass const* cls) const
{
    OdRxClass const* own = isA();
    return own != nullptr && own->isDerivedFrom(cls);
}

OdRxObjectPtr OdRxObject::clone() const
{
    throw OdError(kOdNotApplicable);
}

void OdRxObject::copyFrom(OdRxObject const* /*source*/)
{
    throw OdError(kOdNotApplicable);
}

OdRx::Ordering OdRxObject::comparedTo(OdRxObject const* other) const
{
    return isEqualTo(other) ? OdRx::Ordering::kEqual : OdRx::Ordering::kNotOrderable;
}

bool OdRxObject::isEqualTo(OdRxObject const* other) const
{
    return this == other;
}

void odThrowNotThatKindOfClass(OdRxObject const* object, OdRxClass const* to)
{
    throw OdError_NotThatKindOfClass(object != nullptr ? object->isA() : nullptr, to);
}

OdRxLivingMark::OdRxLivingMark(OdRxClass const* cls) noexcept
    : m_count(cls != nullptr ? cls->m_livingCount : nullptr)
{
    if (m_count != nullptr) {
        m_count->fetch_add(1, std::memory_order_relaxed);
    }
}

OdRxClass::~OdRxClass() = default;

OdRxClass* OdRxClass::desc()
{
    return g_pDesc;
}

OdSmartPtr<OdRxClass> OdRxClass::cast(OdRxObject const* object)
{
    return OdSmartPtr<OdRxClass>::attach(OdSmartPtr<OdRxClass>::internalQueryX(object));
}

void OdRxClass::rxInit()
{
    odrxRegister(g_pDesc, OdRxObject::desc(), OdRxClassInfo{L"OdRxClass"}, &odrxCreateNothing,
                 nullptr);
}

void OdRxClass::rxUninit()
{
    odrxUnregister(g_pDesc);
}

OdRxClass* OdRxClass::isA() const
{
    return g_pDesc;
}

OdRxObject* OdRxClass::queryX(OdRxClass const* cls) const
{
    return odrxQuery(this, g_pDesc, cls);
}

bool OdRxClass::isDerivedFrom(OdRxClass const* cls) const noexcept
{
    for (OdRxClass const* at = this; at != nullptr; at = at->m_parent) {
        if (at == cls) {
            return true;
        }
    }
    return false;
}

OdRxObjectPtr OdRxClass::create() const
{
    return m_create != nullptr ? m_create() : OdRxObjectPtr();
}

OdString OdRxClass::appNameFor(int saveVersion) const
{
    OdString result = m_appName;
    if (m_changeAppName != nullptr) {
        m_changeAppName(this, result, saveVersion);
    }
    return result;
}

OdRxObjectPtr OdRxClass::getX(OdRxClass const* protocol) const
{
    for (OdRxClass const* at = this; at != nullptr && protocol != nullptr; at = at->m_parent) {
        for (auto const& [key, extension] : at->m_extensions) {
            if (key == protocol) {
                return extension;
            }
        }
    }
    return OdRxObjectPtr();
}

OdRxObjectPtr OdRxClass::addX(OdRxClass* protocol, OdRxObject* extension)
{
    requireRegistered(protocol);
    if (extension == nullptr) {
        return delX(protocol);
    }
    if (!extension->isKindOf(protocol)) {
        // Whoever asks for the protocol takes the object for one without a further look.
        odThrowNotThatKindOfClass(extension, protocol);
    }
    OdRxObjectPtr added(extension);
    for (auto& [key, present] : m_extensions) {
        if (key == protocol) {
            return std::exchange(present, std::move(added));
        }
    }
    m_extensions.emplace_back(protocol, std::move(added));
    return OdRxObjectPtr();
}

OdRxObjectPtr OdRxClass::delX(OdRxClass* protocol)
{
    const auto found = std::find_if(m_extensions.begin(), m_extensions.end(),
                                    [&](auto const& entry) { return entry.first == protocol; });
    if (found == m_extensions.end()) {
        return OdRxObjectPtr();
    }
    OdRxObjectPtr taken = std::move(found->second);
    m_extensions.erase(found);
    return taken;
}

OdRxClass* OdRxClassDictionary::getAt(OdString const& name) const
{
    const auto found = m_classes.find(name);
    return found != m_classes.end() ? found->second : nullptr;
}

OdRxClassDictionary* odrxClassDictionary()
{
    // Never destroyed: modules may unregister while the process ends.
    static OdRxClassDictionary* const s_dictionary = new OdRxClassDictionary;
    return s_dictionary;
}

OdRxClass* newOdRxClass(OdString const& className, OdRxClass* base, OdPseudoConstructor create,
                        int dwgVersion, int maintenanceVersion, int proxyFlags,
                        OdString const& dxfName, OdString const& appName,
                        OdAppNameChangeFunction changeAppName, unsigned customFlags)
{
    OdRxClassDictionary& dictionary = *odrxClassDictionary();
    if (dictionary.getAt(className) != nullptr) {
        throw OdError(kOdClassAlreadyRegistered);
    }
    if (base == nullptr && className != OdString(kRootClassName)) {
        throw OdError(kOdClassNotRegistered);
    }
    auto cls = std::make_unique<RegisteredClass>();
    OdRxClass& description = *cls;
    description.m_name = className;
    description.m_dxfName = dxfName;
    description.m_appName = appName;
    description.m_parent = base;
    description.m_create = create;
    description.m_changeAppName = changeAppName;
    description.m_dwgVersion = dwgVersion;
    description.m_maintenanceVersion = maintenanceVersion;
    description.m_proxyFlags = proxyFlags;
    description.m_customFlags = customFlags;
    description.m_livingCount = &livingCounts()[className];
    dictionary.m_classes.emplace(className, &description);
    description.m_registrationNumber = ++dictionary.m_revision;
    return cls.release();
}

void deleteOdRxClass(OdRxClass* cls)
{
    if (cls == nullptr) {
        return;
    }
    OdRxClassDictionary& dictionary = *odrxClassDictionary();
    const OdString className = cls->m_name;
    dictionary.m_classes.erase(className);
    ++dictionary.m_revision;
    // The destructor of an extension may use the dictionary, so none runs before this is done.
    std::vector<OdRxObjectPtr> dropped;
    for (auto const& [name, host] : dictionary.m_classes) {
        OdRxObjectPtr taken = host->delX(cls);
        if (!taken.isNull()) {
            dropped.push_back(std::move(taken));
        }
        if (host->m_parent == cls) {
            host->m_parent = cls->m_parent;  // left behind by a module that forgot it
        }
    }
    auto own = std::exchange(cls->m_extensions, {});
    for (OdRxOverrule* overrule : std::exchange(cls->m_overrules, {})) {
        overrule->release();
    }
    delete static_cast<RegisteredClass*>(cls);
    own.clear();
    dropped.clear();
    // Only now: the extensions that have just ended may have been objects of the class.
    forgetLivingCount(className);
}

OdRxObjectPtr odrxCreateObject(OdString const& className)
{
    OdRxClass const* cls = odrxClassDictionary()->getAt(className);
    return cls != nullptr ? cls->create() : OdRxObjectPtr();
}

void odrxRegister(OdRxClass*& slot, OdRxClass* base, OdRxClassInfo const& info,
                  OdPseudoConstructor create, OdAppNameChangeFunction changeAppName)
{
    if (slot != nullptr) {
        throw OdError(kOdClassAlreadyRegistered);
    }
    slot = newOdRxClass(OdString(info.name), base, create, info.dwgVersion, info.maintenanceVersion,
                        info.proxyFlags, OdString(info.dxfName), OdString(info.appName),
                        changeAppName);
}

void odrxUnregister(OdRxClass*& slot)
{
    requireRegistered(slot);
    deleteOdRxClass(std::exchange(slot, nullptr));
}

OdRxObject* odrxQuery(OdRxObject const* object, OdRxClass const* own, OdRxClass const* asked)
{
    if (own == nullptr || asked == nullptr) {
        return nullptr;
    }
    if (own->isDerivedFrom(asked)) {
        auto* self = const_cast<OdRxObject*>(object);
        self->addRef();
        return self;
    }
    return own->getX(asked).detach();
}
