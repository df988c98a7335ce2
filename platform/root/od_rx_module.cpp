#include "root/od_rx_module.h"

#include "root/od_error.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
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

}  // namespace

std::unique_ptr<OdModuleHandle> odLoadModule(std::string const& path, void* sysData)
{
    Library library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (library == nullptr) {
        char const* reason = dlerror();
        throw loadError(kOdModuleNotLoaded, path, reason != nullptr ? reason : "can't be opened");
    }
    const auto version = entryPoint<VersionFunction>(library, path, "odrxGetAPIVersion");
    const auto create = entryPoint<CreateFunction>(library, path, "odrxCreateModuleObject");
    requireVersion(version, path);

    std::unique_ptr<OdModuleHandle> handle(new OdModuleHandle);
    handle->m_path = path;
    OdRxModule* module = create(sysData, utf8(fileName(path)).c_str());
    if (module == nullptr) {
        throw loadError(kOdModuleNotLoaded, path, "makes no module object");
    }
    try {
        module->initApp();
    } catch (...) {
        // Classes registered before the failure stay, and their code lies in the file.
        (void)library.release();
        strandedModules().push_back(module);
        throw;
    }
    handle->m_module = module;
    handle->m_library = library.release();
    return handle;
}

OdModuleHandle::~OdModuleHandle()
{
    try {
        unload();
    } catch (OdError const& error) {
        std::fprintf(stderr, "%s\n", error.what());
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
    m_module->uninitApp();
    std::exchange(m_module, nullptr)->deleteModule();
    dlclose(std::exchange(m_library, nullptr));
}

void odAddUnloadGuard(std::function<std::string()> guard)
{
    unloadGuards().push_back(std::move(guard));
}
