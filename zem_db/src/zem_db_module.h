// The module object: registers the module's classes and hooks its draw overrule.

#pragma once

#include "root/od_rx_module.h"

#include "zem_db_3dsolid_draw_overrule.h"

/// The one module object of the file.
///
/// It is loaded, made by the entry point, initialised, uninitialised and deleted, in this order;
/// after `uninitApp` it may be initialised again. Used on the host's thread.
class ZemDbModule : public OdRxModule
{
public:
    ~ZemDbModule() override;

    /// Registers all classes in order, each behind its base, and hooks the draw overrule on 3D
    /// solids.
    ///
    /// \throws OdError (class already registered) at the first class if the module is initialised;
    ///         classes that were registered before a failure stay.
    void initApp() override;
    /// Takes the overrule away and the classes in the reverse order.
    /// \throws OdError (class not registered) at the last class if the module isn't initialised.
    void uninitApp() override;

private:
    OdStaticRxObject<ZemDb3dSolidDrawOverrule> m_solidDrawOverrule;
};
