// Edits of solids, on the modelling kernel.

#pragma once

#include "protocol/host_edit_extension.h"

namespace zemhost {

class EditExtension : public HostEditExtension
{
public:
    HostEditResult make(std::string const& base, std::vector<double> const& values,
                        HostImportLimits const& limits,
                        HostImportProgress const& progress) const override;
    HostEditResult edit(HostEditedSolid const& solid, HostEdit const& edit,
                        HostImportLimits const& limits,
                        HostImportProgress const& progress) const override;
    HostSolidFacts measure(HostEditedSolid const& solid) const override;
    std::vector<HostRecipeLine> lines(OdBinaryData const& recipe) const override;
};

}  // namespace zemhost
