// The platform, the module and the program's own loadable files, for the run of one command.

#pragma once

#include "assoc/od_platform.h"
#include "db/od_db_host_app_services.h"
#include "root/od_rx_module.h"

#include "protocol/host_bag_extension.h"
#include "protocol/host_edit_extension.h"
#include "protocol/host_import_extension.h"
#include "protocol/host_link_extension.h"

#include <memory>
#include <string>
#include <vector>

namespace zemhost {

/// How a session starts.
struct SessionOptions
{
    std::string modulePath;      ///< of zem_db.tx; empty for the one beside the program
    bool withoutModule = false;  ///< whether objects of the module stay proxies
};

/// Starts the platform and loads the module; all databases have to be gone before it ends.
///
/// The program's own files are loaded when they are first asked for: `zemhost_extensions.tx` behind
/// the module, whose classes it uses, and `zemhost_kernel.tx`, which brings the modelling kernel.
class HostSession
{
public:
    /// \throws HostError (module) if the module can't be loaded.
    explicit HostSession(SessionOptions const& options);
    HostSession(HostSession const&) = delete;
    HostSession& operator=(HostSession const&) = delete;
    ~HostSession();

    /// Lives as long as the session.
    OdDbHostAppServices* services() noexcept { return m_services.get(); }
    bool hasModule() const noexcept { return m_module != nullptr; }
    /// Path of the module's file; empty without it.
    std::string modulePath() const;
    /// The classes that the module has registered, in that order.
    std::vector<OdRxClass*> moduleClasses() const;
    /// The classes of the platform, in the order of their registration.
    std::vector<OdRxClass*> platformClasses() const;

    /// The access to bags.
    /// \throws HostError (module) in a session without module, or if the file can't be loaded.
    HostBagExtension const& bags();
    /// The access to links; as `bags`.
    HostLinkExtension const& links();
    /// The access to part files.
    /// \throws HostError (module) if the file can't be loaded.
    HostImportExtension const& importer();
    /// The editing of solids; as `importer`.
    HostEditExtension const& editor();
    /// Loads the kernel for others that can do more with it. \return Whether it is loaded.
    bool tryKernel() noexcept;

private:
    void loadExtensions(char const* what);
    void loadKernel();

    OdPlatform m_platform;
    std::unique_ptr<OdDbHostAppServices> m_services;
    std::uint64_t m_lastPlatformClass = 0;
    std::uint64_t m_lastModuleClass = 0;
    // Unloaded from the last to the first.
    std::unique_ptr<OdModuleHandle> m_module;
    std::unique_ptr<OdModuleHandle> m_extensions;
    std::unique_ptr<OdModuleHandle> m_kernel;
};

}  // namespace zemhost
