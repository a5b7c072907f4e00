#pragma once

#include "AAX_Description.h"

// What the library exports, all that a host finds by name. Calls come one at a time; no exception leaves them.

#define SORVANE_EXPORT __attribute__((visibility("default")))

namespace sorvane::aax {

/// Of these interfaces; a host that was built with another one can't use the library.
inline constexpr std::uint32_t kInterfaceVersion = 1;

/// Makes objects of the library's classes by number.
class ClassFactory;

extern "C" {
/// Comes first. \param services  null when the host has none; else valid until ACFShutdown
SORVANE_EXPORT Result ACFStartup(HostServices* services) noexcept;
/// Comes last.
SORVANE_EXPORT Result ACFShutdown() noexcept;
/// \return AAX_SUCCESS when no instance lives, else AAX_ERROR_IN_USE
SORVANE_EXPORT Result ACFCanUnloadNow() noexcept;
/// Gives kInterfaceVersion.
SORVANE_EXPORT Result ACFGetSDKVersion(std::uint32_t* version) noexcept;
/// Describes the plug-in to the host.
SORVANE_EXPORT Result ACFRegisterPlugin(Collection* collection) noexcept;
/// The package is one plug-in, and its components come with it: always AAX_ERROR_UNIMPLEMENTED.
SORVANE_EXPORT Result ACFRegisterComponent(Collection* collection, std::int32_t index) noexcept;
/// Objects are made by the create functions of the description alone: always null and AAX_ERROR_UNIMPLEMENTED.
SORVANE_EXPORT Result ACFGetClassFactory(ClassFactory** factory) noexcept;
}

} // namespace sorvane::aax
