// Property bags through the classes of the module.

#pragma once

#include "protocol/host_bag_extension.h"

namespace zemhost {

/// HostBagExtension over the module's bags.
class BagExtension : public HostBagExtension
{
public:
    BagForm form(OdDbObject const& object) const override;
    BagJson read(OdDbObject const& object) const override;
    BagJson canonical(BagJson const& entries) const override;
    BagJson readTypes(OdDbObject const& object) const override;
    void set(OdDbObject& object, std::string const& name, BagJson const& value,
             bool retype) const override;
    void replace(OdDbObject& object, BagJson const& entries) const override;
    bool remove(OdDbObject& object, std::string const& name) const override;
    OdBinaryData data(OdDbObject const& object, OdString const& name) const override;
    void setData(OdDbObject const& object, OdString const& name,
                 OdBinaryData const& bytes) const override;
};

}  // namespace zemhost
