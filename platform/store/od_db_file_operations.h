// What drawings ask of the file system besides reading and writing their own file.

#pragma once

#include <filesystem>
#include <system_error>

/// The steps in which a file takes its place on disk, replaceable so that each of them can be made
/// to fail.
class OdDbFileOperations
{
public:
    virtual ~OdDbFileOperations();

    /// Puts `from` in the place of `to`, which need not be there, in one step.
    virtual std::error_code renameFile(std::filesystem::path const& from,
                                       std::filesystem::path const& to);
    /// Waits until the names in a folder are on disk.
    virtual std::error_code syncFolder(std::filesystem::path const& folder);
    virtual std::error_code removeFile(std::filesystem::path const& file);
    /// Name of the SQLite file layer that drawings go through; null for its own.
    virtual char const* fileLayerName() const;

    /// The operations in use.
    static OdDbFileOperations& current() noexcept;
    /// Replaces them; null brings back the system's own. The object must outlive its use; no drawing
    /// may be open meanwhile in another file layer.
    static void use(OdDbFileOperations* operations) noexcept;
};
