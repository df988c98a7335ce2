// What the host program gives to its databases.

#pragma once

#include "root/od_string.h"

#include <cstdint>

/// Services of the host application, shared by the databases that it makes. The base is complete
/// in itself; hosts override what they know better. Must outlive its databases.
class OdDbHostAppServices
{
public:
    virtual ~OdDbHostAppServices();

    /// A warning that needs no answer. The base prints it on standard error.
    virtual void warning(OdString const& message);
    /// The full path of a file that a drawing names, or empty if it can't be found. A relative
    /// name is looked for beside the drawing first and then as it stands.
    virtual OdString findFile(OdString const& fileName, OdString const& drawingPath);

    /// How parameters are copied with objects; a 16-bit setting that modules read.
    std::int16_t parameterCopyMode() const noexcept { return m_parameterCopyMode; }
    void setParameterCopyMode(std::int16_t mode) noexcept { m_parameterCopyMode = mode; }

private:
    std::int16_t m_parameterCopyMode = 1;
};
