// A carrier that fails to read its one object for a while, as a disk does that doesn't answer.

#pragma once

#include "db/od_db_object_store.h"
#include "root/od_error.h"

#include <memory>

namespace flaky_store_test {

class FlakyStore : public OdDbObjectStore
{
public:
    /// Gives a drawing such a carrier. \return The id of what it says that it holds. It fails to read
    ///         it until `s_fails` is false; there is no such object then.
    static OdDbObjectId attachTo(OdDbDatabase& database)
    {
        s_fails = true;
        OdDbStorageAccess(database).attachStore(std::make_unique<FlakyStore>());
        return database.getOdDbObjectId(kHandle, /*create=*/true);
    }

    bool find(OdDbHandle handle, std::uint32_t& classIndex) override
    {
        classIndex = 0;
        return handle == kHandle;
    }
    bool beginLoad(OdDbHandle, OdDbStoredObject&) override
    {
        if (s_fails) {
            throw OdError(kOdFileAccess);
        }
        return false;
    }
    void endLoad() override {}
    OdDbHandle nextHandle(OdDbHandle) override { return OdDbHandle(); }

    static inline bool s_fails = true;

private:
    static inline const OdDbHandle kHandle{0x9999};
};

}  // namespace flaky_store_test
