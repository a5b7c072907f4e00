#include "AAXWrap_Description.h"
#include "AAXWrap_GUI.h"
#include "AAXWrap_Parameters.h"
#include "AAXWrap_Trace.h"
#include "AAX_Exports.h"

namespace sorvane::aax {

Result ACFStartup(HostServices* services) noexcept
{
    setHostServices(services);
    return AAX_SUCCESS;
}

Result ACFShutdown() noexcept
{
    setHostServices(nullptr);
    return AAX_SUCCESS;
}

Result ACFCanUnloadNow() noexcept
{
    return AAXWrap_Parameters::instanceCount() + AAXWrap_GUI::instanceCount() == 0 ? AAX_SUCCESS : AAX_ERROR_IN_USE;
}

Result ACFGetSDKVersion(std::uint32_t* version) noexcept
{
    if (version == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    *version = kInterfaceVersion;
    return AAX_SUCCESS;
}

Result ACFRegisterPlugin(Collection* collection) noexcept
{
    return registerPlugin(collection);
}

Result ACFRegisterComponent(Collection*, std::int32_t) noexcept
{
    return AAX_ERROR_UNIMPLEMENTED;
}

Result ACFGetClassFactory(ClassFactory** factory) noexcept
{
    if (factory != nullptr)
        *factory = nullptr;
    return AAX_ERROR_UNIMPLEMENTED;
}

} // namespace sorvane::aax
