#include "root/od_rx_module.h"

#include "root/od_error.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <map>
#include <vector>

RX_DEFINE_CLASS(OdRxModule, OdRxObject, odrxCreateNothing, L"OdRxModule");

namespace {

using CreateFunction = OdRxModule* (*)(void*, wchar_t const*);
using VersionFunction = void (*)(int*, int*, int*, int*);

std::vector<std::function<std::string()>>& unloadGuards()
{
    static std::vector<std::function<std::string()>> s_guards;
    return s_guards;
}

/// Modules that failed to start: they live on with their files, known here so that they are no leak.
std::vector<OdRxModule*>& strandedModules()
{
    static auto* const s_modules = new std::vector<OdRxModule*>;
    return *s_modules;
}

std::vector<OdRxModule*>& loadedModules()
{
    static auto* const s_modules = new std::vector<OdRxModule*>;
    return *s_modules;
}

bool contains(std::vector<OdRxClass const*> const& classes, OdRxClass const* cls)
{
    return std::find(classes.begin(), classes.end(), cls) != classes.end();
}

std::vector<OdString> classesRegisteredAfter(std::uint64_t revision)
{
    std::vector<OdString> names;
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        if (cls->registrationNumber() > revision) {
            names.push_back(name);
        }
    }
    return names;
}

/// By class, the objects that live by nothing but attachments that end with one of the classes.
std::map<OdRxClass const*, std::int64_t>
extensionsThatEndWith(std::vector<OdRxClass const*> const& classes)
{
    std::map<OdRxObject const*, long> attachments;
    for (auto const& [name, host] : *odrxClassDictionary()) {
        for (auto const& [protocol, extension] : host->extensions()) {
            if (contains(classes, host) || contains(classes, protocol)) {
                ++attachments[extension.get()];
            }
        }
    }
    std::map<OdRxClass const*, std::int64_t> result;
    for (auto const& [object, count] : attachments) {
        if (object->numRefs() == count) {
            ++result[object->isA()];
        }
    }
    return result;
}

/// Why the file that registered classes of these names is still needed; empty if it isn't.
std::string reasonToStay(std::vector<OdString> const& classNames)
{
    std::vector<OdRxClass const*> classes;
    for (OdString const& name : classNames) {
        if (OdRxClass const* const cls = odrxClassDictionary()->getAt(name)) {
            classes.push_back(cls);
        }
    }
    auto ending = extensionsThatEndWith(classes);
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        OdRxClass const* const own = cls;
        const bool isConcerned =
            std::any_of(classes.begin(), classes.end(),
                        [own](OdRxClass const* base) { return own->isDerivedFrom(base); });
        const std::int64_t count = isConcerned ? own->livingCount() - ending[own] : 0;
        if (count > 0) {
            std::string text = std::to_string(count) + " objects of class ";
            name.appendUtf8To(text);
            return text + " are still alive";
        }
    }
    return {};
}

OdString utf8(std::string const& text)
{
    return OdString::fromUtf8(text.data(), text.size());
}

OdError loadError(OdResult result, std::string const& path, std::string const& reason)
{
    return OdError(result, utf8(path + ": " + reason));
}

struct LibraryCloser
{
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, LibraryCloser>;

/// Whether a symbol that was found through a library lies in its own file: the search goes on in the
/// libraries that the file needs, of which one may be a module.
bool liesIn(Library const& library, void* symbol)
{
    link_map* opened = nullptr;
    void* holder = nullptr;
    Dl_info info = {};
    return dlinfo(library.get(), RTLD_DI_LINKMAP, &opened) == 0 &&
           dladdr1(symbol, &info, &holder, RTLD_DL_LINKMAP) != 0 && holder == opened;
}

template <class Function>
Function entryPoint(Library const& library, std::string const& path, char const* name)
{
    void* symbol = dlsym(library.get(), name);
    if (symbol == nullptr || !liesIn(library, symbol)) {
        throw loadError(kOdModuleNotLoaded, path,
                        std::string("is no module: it has no entry point ") + name);
    }
    return reinterpret_cast<Function>(symbol);
}

void requireVersion(VersionFunction version, std::string const& path)
{
    int found[4] = {};
    version(&found[0], &found[1], &found[2], &found[3]);
    if (std::equal(std::begin(found), std::end(found), std::begin(kOdApiVersion))) {
        return;
    }
    char text[96];
    std::snprintf(text, sizeof text,
                  "is built for version %d.%d.%d.%d, this platform is %d.%d.%d.%d", found[0],
                  found[1], found[2], found[3], kOdApiVersion[0], kOdApiVersion[1],
                  kOdApiVersion[2], kOdApiVersion[3]);
    throw loadError(kOdModuleVersion, path, text);
}

std::string fileName(std::string const& path)
{
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// The loader's reason may start with the path that is told already.
std::string withoutPath(std::string reason, std::string const& path)
{
    const std::string start = path + ": ";
    if (!path.empty() && reason.starts_with(start)) {
        reason.erase(0, start.size());
    }
    return reason;
}

}  // namespace

std::unique_ptr<OdModuleHandle> odLoadModule(std::string const& path, void* sysData)
{
    Library library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (library == nullptr) {
        char const* reason = dlerror();
        throw loadError(kOdModuleNotLoaded, path,
                        withoutPath(reason != nullptr ? reason : "can't be opened", path));
    }
    const auto version = entryPoint<VersionFunction>(library, path, "odrxGetAPIVersion");
    const auto create = entryPoint<CreateFunction>(library, path, "odrxCreateModuleObject");
    requireVersion(version, path);

    std::unique_ptr<OdModuleHandle> handle(new OdModuleHandle);
    handle->m_path = path;
    OdRxModule* module = nullptr;
    try {
        module = create(sysData, utf8(fileName(path)).c_str());
    } catch (...) {
        // What is thrown may be of a class of the file.
        (void)library.release();
        throw;
    }
    if (module == nullptr) {
        throw loadError(kOdModuleNotLoaded, path, "makes no module object");
    }
    auto& loaded = loadedModules();
    if (std::find(loaded.begin(), loaded.end(), module) != loaded.end()) {
        throw loadError(kOdModuleInUse, path, "is loaded already");
    }
    loaded.reserve(loaded.size() + 1);
    const std::uint64_t revision = odrxClassDictionary()->revision();
    try {
        module->initApp();
        handle->m_classNames = classesRegisteredAfter(revision);
    } catch (...) {
        // Classes registered before the failure stay, and their code lies in the file.
        (void)library.release();
        strandedModules().push_back(module);
        throw;
    }
    loaded.push_back(module);
    handle->m_module = module;
    handle->m_library = library.release();
    return handle;
}

OdModuleHandle::~OdModuleHandle()
{
    try {
        unload();
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s\n", error.what());
    } catch (...) {
        std::fprintf(stderr, "%s can't be unloaded\n", m_path.c_str());
    }
}

void OdModuleHandle::unload()
{
    if (m_module == nullptr) {
        return;
    }
    for (auto const& guard : unloadGuards()) {
        const std::string reason = guard();
        if (!reason.empty()) {
            throw loadError(kOdModuleInUse, m_path, reason);
        }
    }
    const std::string reason = reasonToStay(m_classNames);
    if (!reason.empty()) {
        throw loadError(kOdModuleInUse, m_path, reason);
    }
    m_module->uninitApp();
    std::erase(loadedModules(), m_module);
    std::exchange(m_module, nullptr)->deleteModule();
    dlclose(std::exchange(m_library, nullptr));
}

void odAddUnloadGuard(std::function<std::string()> guard)
{
    unloadGuards().push_back(std::move(guard));
}
