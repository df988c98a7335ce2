// Modules: what a loadable file gives to its host, and the loader that brings one in.

#pragma once

#include "root/od_alloc.h"
#include "root/od_rx_class.h"

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

/// A loadable module. The object is made by the file's entry point `odrxCreateModuleObject`.
class OdRxModule : public OdRxObject
{
    RX_DECLARE_CLASS(OdRxModule);

public:
    /// Registers the module's classes. \throws OdError as the module says; what was registered
    /// before the failure stays.
    virtual void initApp() = 0;
    /// Takes them away again.
    virtual void uninitApp() = 0;
    /// Deletes the module object; the last call to it.
    virtual void deleteModule() = 0;
    /// System data and name that the entry point was given when the object was made.
    virtual void* sysData() const = 0;
    virtual OdString moduleName() const = 0;
};

extern "C"
{
    /// The three entry points of a module file.
    OdRxModule* odrxCreateModuleObject(void* sysData, wchar_t const* moduleName);
    void odrxGetAPIVersion(int* major, int* minor, int* majorBuild, int* minorBuild);
    void deleteModuleObject();
}

/// Stands in front of the definitions of the three entry points. Every module file has functions of
/// these names, and one file may be brought in by another that needs it: each calls its own.
#define OD_MODULE_ENTRY_POINT extern "C" __attribute__((visibility("protected")))

/// The version of the platform's interface that a module must be built for: 4.3.1.0.
constexpr int kOdApiVersion[4] = {4, 3, 1, 0};

/// What every module object shares: `Module` gives `initApp` and `uninitApp`, `Interface` is the
/// module class that is seen from outside.
///
/// The object keeps the system data and the name that it was made with. It lives in the platform's
/// memory, whatever allocation functions the module's file has of its own.
template <class Interface, class Module>
class OdRxUnixModule : public OdStaticRxObject<Module>
{
public:
    OdRxUnixModule(void* sysData, wchar_t const* moduleName)
        : m_sysData(sysData), m_moduleName(moduleName)
    {
        static_assert(std::is_base_of_v<Interface, Module>);
    }

    /// \throws std::bad_alloc.
    static void* operator new(std::size_t size)
    {
        void* const block = odrxAlloc(size);
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return block;
    }
    static void operator delete(void* block) noexcept { odrxFree(block); }

    void* sysData() const override { return m_sysData; }
    OdString moduleName() const override { return m_moduleName; }
    void deleteModule() override
    {
        deleteModuleObject();
        delete this;
    }

private:
    void* m_sysData;
    OdString m_moduleName;
};

/// A module file that is loaded and initialised.
///
/// Loading checks the interface version before the module object is made. The destructor unloads;
/// `unload` does so with an answer.
class OdModuleHandle
{
public:
    OdModuleHandle(OdModuleHandle const&) = delete;
    OdModuleHandle& operator=(OdModuleHandle const&) = delete;
    ~OdModuleHandle();

    OdRxModule* module() const noexcept { return m_module; }
    std::string const& path() const noexcept { return m_path; }

    /// Runs `uninitApp` and `deleteModule` and closes the file.
    /// \throws OdError (module in use) if objects that need the module's code are alive: database
    ///         objects, and objects on the heap of the classes that the module registered or of
    ///         classes derived from them, but for extensions that end with these classes; the module
    ///         then stays loaded.
    void unload();

private:
    friend std::unique_ptr<OdModuleHandle> odLoadModule(std::string const& path, void* sysData);
    OdModuleHandle() = default;

    std::string m_path;
    std::vector<OdString> m_classNames;  ///< that the module registered
    void* m_library = nullptr;
    OdRxModule* m_module = nullptr;
};

/// Loads a module file with its symbols local and all of them bound, checks its version, makes its
/// module object and runs `initApp`.
///
/// \throws OdError (module not loaded) with the loader's reason, or if the file makes no module
///         object, (module version) if it was built for another version, (module in use) if it is
///         loaded already, and whatever the entry points and `initApp` throw; the file is closed
///         again then, except after a failed entry point or `initApp`, as the exception and the
///         classes registered so far may need its code.
std::unique_ptr<OdModuleHandle> odLoadModule(std::string const& path, void* sysData = nullptr);

/// Adds a question that is asked before a module is unloaded: empty if nothing stands against it,
/// else the reason. Layers above use it to tell of living objects. Never removed.
void odAddUnloadGuard(std::function<std::string()> guard);
