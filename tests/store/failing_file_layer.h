// A file layer under drawings in which every step on disk can be made to fail.

#pragma once

#include "store/od_db_file_operations.h"

#include <cstdint>
#include <functional>

/// What happens at the step that fails.
enum class FaultKind
{
    kNone,
    kOnce,       ///< this step fails, the following ones succeed
    kLate,       ///< as `kOnce`, among removals alone: one is done and fails all the same
    kFromThere,  ///< this step fails, and so do all that follow
    kDiskFull,   ///< as `kFromThere` for writes alone, with the code for a full disk
    kKill,       ///< a write is done by half, then the process dies
    kPowerCut    ///< as `kKill`, and what wasn't synced is gone from the files
};

/// Counts the steps that change something on disk: writes, syncs, truncations, removals and makings
/// of files, renames and syncs of folders. Installs itself for its life.
class FailingFileLayer : public OdDbFileOperations
{
public:
    FailingFileLayer();
    FailingFileLayer(FailingFileLayer const&) = delete;
    FailingFileLayer& operator=(FailingFileLayer const&) = delete;
    ~FailingFileLayer() override;

    /// Makes the `step`-th step from now on fail, counting from 1.
    void failAt(std::int64_t step, FaultKind kind);
    /// Whether the step was reached.
    bool hasFailed() const noexcept;
    /// Makes the `read`-th read from a file from now on fail, and only that, counting from 1; 0 for
    /// none.
    void failReadAt(std::int64_t read);
    /// Whether that read was reached.
    bool hasReadFailed() const noexcept;
    /// Makes every read fail that touches some bytes of a file: a bad place on the disk. Holds until
    /// `healDisk`.
    void spoilDisk(std::filesystem::path const& file, std::int64_t offset, std::int64_t count);
    void healDisk();
    /// Does something once, right before a connection that holds no lock on its file asks for one:
    /// what another process may do there.
    void atNextLock(std::function<void()> action);
    /// Does something once, right after a file has taken its place.
    void atNextRename(std::function<void()> action);

    std::error_code renameFile(std::filesystem::path const& from,
                               std::filesystem::path const& to) override;
    std::error_code syncFolder(std::filesystem::path const& folder) override;
    std::error_code removeFile(std::filesystem::path const& file) override;
    char const* fileLayerName() const override;
};
