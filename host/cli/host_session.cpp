#include "cli/host_session.h"

#include "cli/text_format.h"
#include "db/od_db_database.h"
#include "root/od_error.h"

#include "protocol/host_error.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace zemhost {

namespace {

namespace fs = std::filesystem;

constexpr char const* kModuleFile = "zem_db.tx";
constexpr char const* kExtensionsFile = "zemhost_extensions.tx";
constexpr char const* kKernelFile = "zemhost_kernel.tx";

/// Services of this program: warnings go to where its errors go.
class ProgramServices : public OdDbHostAppServices
{
public:
    void warning(OdString const& message) override
    {
        std::cerr << "zemhost: warning: " << toUtf8(message) << '\n';
    }
};

/// Folders in which the program's loadable files may lie: beside it, and in the library folder of
/// the tree that it was built or installed into.
std::vector<fs::path> libraryFolders()
{
    const fs::path program = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path tree = program.parent_path();
    return {program, tree / ZEMHOST_LIBRARY_DIR, tree / "lib"};
}

std::string findBesideProgram(std::string const& fileName)
{
    const std::vector<fs::path> folders = libraryFolders();
    for (fs::path const& folder : folders) {
        std::error_code error;
        if (fs::is_regular_file(folder / fileName, error)) {
            return (folder / fileName).lexically_normal().string();
        }
    }
    throw HostError(ExitCode::kModule, fileName,
                    "isn't beside the program, and not in " + folders[1].string(),
                    fileName == kModuleFile ? "name it with --module, or do without it with "
                                              "--without-module where the command allows it"
                                            : "it belongs to the program; build or install it");
}

std::unique_ptr<OdModuleHandle> load(std::string const& path)
{
    std::error_code error;
    if (!fs::exists(path, error)) {
        throw HostError(ExitCode::kModule, path, "there is no such file", "check --module");
    }
    try {
        // An absolute path, as a bare name would be looked for among the system's libraries.
        return odLoadModule(fs::absolute(path).string());
    } catch (OdError const& failure) {
        throw HostError(ExitCode::kModule, "", failure.what(),
                        "it has to be built together with this program");
    }
}

std::uint64_t lastRegistration()
{
    std::uint64_t last = 0;
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        last = std::max(last, cls->registrationNumber());
    }
    return last;
}

/// The classes registered behind `after` and up to `last`, which is included.
std::vector<OdRxClass*> classesBetween(std::uint64_t after, std::uint64_t last)
{
    std::vector<OdRxClass*> classes;
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        if (cls->registrationNumber() > after && cls->registrationNumber() <= last) {
            classes.push_back(cls);
        }
    }
    std::sort(classes.begin(), classes.end(), [](OdRxClass const* left, OdRxClass const* right) {
        return left->registrationNumber() < right->registrationNumber();
    });
    return classes;
}

/// The extension that a loaded file has attached to a class of the platform.
template <class Protocol>
Protocol const& extensionOf(OdRxClass const& target)
{
    // The class holds the extension as long as the file is loaded.
    return *OdSmartPtr<Protocol>(target.getX(Protocol::desc()));
}

}  // namespace

HostSession::HostSession(SessionOptions const& options)
    : m_services(std::make_unique<ProgramServices>()), m_lastPlatformClass(lastRegistration())
{
    if (!options.withoutModule) {
        m_module =
            load(options.modulePath.empty() ? findBesideProgram(kModuleFile) : options.modulePath);
    }
    m_lastModuleClass = lastRegistration();
}

HostSession::~HostSession() = default;

std::string HostSession::modulePath() const
{
    return hasModule() ? m_module->path() : std::string();
}

std::vector<OdRxClass*> HostSession::moduleClasses() const
{
    return classesBetween(m_lastPlatformClass, m_lastModuleClass);
}

std::vector<OdRxClass*> HostSession::platformClasses() const
{
    return classesBetween(0, m_lastPlatformClass);
}

void HostSession::loadExtensions(char const* what)
{
    if (!hasModule()) {
        throw HostError(ExitCode::kModule, "", std::string(what) + " need the module",
                        "run the command without --without-module");
    }
    if (m_extensions == nullptr) {
        m_extensions = load(findBesideProgram(kExtensionsFile));
    }
}

void HostSession::loadKernel()
{
    if (m_kernel == nullptr) {
        m_kernel = load(findBesideProgram(kKernelFile));
    }
}

HostBagExtension const& HostSession::bags()
{
    loadExtensions("bags");
    return extensionOf<HostBagExtension>(*OdDbObject::desc());
}

HostLinkExtension const& HostSession::links()
{
    loadExtensions("links");
    return extensionOf<HostLinkExtension>(*OdDbDatabase::desc());
}

HostImportExtension const& HostSession::importer()
{
    loadKernel();
    return extensionOf<HostImportExtension>(*OdDbDatabase::desc());
}

bool HostSession::tryKernel() noexcept
{
    try {
        loadKernel();
    } catch (std::exception const&) {
        return false;  // whoever asks can do without
    }
    return true;
}

HostEditExtension const& HostSession::editor()
{
    loadKernel();
    return extensionOf<HostEditExtension>(*OdDb3dSolid::desc());
}

}  // namespace zemhost
