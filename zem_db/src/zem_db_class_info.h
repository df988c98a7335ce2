// What the persistent classes of the module register with: versions, proxy flags, application strings.

#pragma once

/// Drawing version and maintenance release in which the module's persistent classes appeared.
inline constexpr int kZemClassDwgVersion = 33;
inline constexpr int kZemClassMaintenanceVersion = 4;
/// What may be done to an object of the module while the module is not there.
inline constexpr int kZemClassProxyFlags = 1025;

/// \name Application strings
/// They stand in drawings and never change.
/// @{
inline constexpr wchar_t const* kZemAppConstraints = L"Zemforge|Description: 3D constraints data";
inline constexpr wchar_t const* kZemAppFeatures = L"Zemforge|Description: features data";
inline constexpr wchar_t const* kZemAppModelObject =
    L"ZemModule|Description: Zemforge Driving Dimension";
inline constexpr wchar_t const* kZemAppModelData = L"Zemforge|Description: model data";
inline constexpr wchar_t const* kZemAppReactors = L"Zemforge|Description: features reactor";
inline constexpr wchar_t const* kZemAppExtensionData = L"Zemforge|Description: extension data";
inline constexpr wchar_t const* kZemAppConfigurations =
    L"Zemforge|Description: configurations data";
/// @}

/// Defines a persistent class of the module: its instances are made by name and carry the module's
/// versions and flags. `name`, `dxfName` and `appName` are wide texts.
#define ZEM_DEFINE_DB_CLASS(Class, Base, name, dxfName, appName)                                   \
    RX_DEFINE_CLASS(Class, Base, odrxCreate<Class>, name, kZemClassDwgVersion,                     \
                    kZemClassMaintenanceVersion, kZemClassProxyFlags, dxfName, appName)
