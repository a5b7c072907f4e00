#pragma once

#include "AAX_Description.h"

// What the library exports, all that a host finds by name. Calls come one at a time; no exception leaves them.

namespace sorvane::aax {

/// Of these interfaces; a host that was built with another one can't use the library.
inline constexpr std::uint32_t kInterfaceVersion = 2;

/// Makes objects of the library's classes by number.
class ClassFactory;

extern "C" {
/// Comes first. \param services  null when the host has none; else valid until ACFShutdown
[[gnu::visibility("default")]] Result ACFStartup(HostServices* services) noexcept;
/// Comes last.
[[gnu::visibility("default")]] Result ACFShutdown() noexcept;
/// \return AAX_SUCCESS when no instance lives, else AAX_ERROR_IN_USE
[[gnu::visibility("default")]] Result ACFCanUnloadNow() noexcept;
/// Gives kInterfaceVersion.
[[gnu::visibility("default")]] Result ACFGetSDKVersion(std::uint32_t* version) noexcept;
/// Describes the plug-in to the host.
[[gnu::visibility("default")]] Result ACFRegisterPlugin(Collection* collection) noexcept;
/// The package is one plug-in, and its components come with it: always AAX_ERROR_UNIMPLEMENTED.
[[gnu::visibility("default")]] Result ACFRegisterComponent(Collection* collection, std::int32_t index) noexcept;
/// Objects are made by the create functions of the description alone: always null and AAX_ERROR_UNIMPLEMENTED.
[[gnu::visibility("default")]] Result ACFGetClassFactory(ClassFactory** factory) noexcept;
}

} // namespace sorvane::aax
