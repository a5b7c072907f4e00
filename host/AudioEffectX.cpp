#include "AudioEffectX.h"

namespace sorvane::host {

Pointer AudioEffectX::dispatcher(std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option)
{
    switch (opcode) {
    case effectCanBeAutomated:
        return canParameterBeAutomated(index) ? 1 : 0;
    case effectGetPlugCategory:
        return getPlugCategory();
    case effectSetBypass:
        return setBypass(value != 0) ? 1 : 0;
    case effectGetVendorVersion:
        return getVendorVersion();
    case effectVendorSpecific:
        return vendorSpecific(index, value, data, option);
    case effectKeysRequired:
        return 1;
    case effectSetProcessPrecision:
        return value == precision32 || (value == precision64 && (cEffect.flags & effectCanDoubleReplacing) != 0) ? 1
                                                                                                                 : 0;
    case effectGetVstVersion:
        return getVstVersion();
    case effectGetSpeakerArrangement:
        // Two pointers to be filled; the first one travels as a number.
        return getSpeakerArrangement(reinterpret_cast<SpeakerArrangement**>(value), // NOLINT(performance-no-int-to-ptr)
                                     static_cast<SpeakerArrangement**>(data))
                   ? 1
                   : 0;
    default:
        break;
    }

    auto* const text = static_cast<char*>(data);
    if (text != nullptr) {
        switch (opcode) {
        case effectProcessEvents:
            return processEvents(static_cast<const Events*>(data)) ? 1 : 0;
        case effectGetProgramNameIndexed: {
            char name[kTextBytes] = {};
            if (!getProgramNameIndexed(index, name))
                return 0;
            copyProgramName(name, text);
            return 1;
        }
        case effectGetInputProperties:
            return getInputProperties(index, static_cast<PinProperties*>(data)) ? 1 : 0;
        case effectGetOutputProperties:
            return getOutputProperties(index, static_cast<PinProperties*>(data)) ? 1 : 0;
        case effectGetParameterProperties:
            return getParameterProperties(index, static_cast<ParameterProperties*>(data)) ? 1 : 0;
        case effectGetEffectName:
            return getEffectName(text) ? 1 : 0;
        case effectGetVendorString:
            return getVendorString(text) ? 1 : 0;
        case effectGetProductString:
            return getProductString(text) ? 1 : 0;
        case effectCanDo:
            return canDo(text);
        default:
            break;
        }
    }
    return AudioEffect::dispatcher(opcode, index, value, data, option);
}

bool AudioEffectX::getProgramNameIndexed(std::int32_t, char*) const
{
    return false;
}

bool AudioEffectX::getInputProperties(std::int32_t, PinProperties*) const
{
    return false;
}

bool AudioEffectX::getOutputProperties(std::int32_t, PinProperties*) const
{
    return false;
}

bool AudioEffectX::getParameterProperties(std::int32_t, ParameterProperties*) const
{
    return false;
}

bool AudioEffectX::getSpeakerArrangement(SpeakerArrangement** input, SpeakerArrangement** output) const
{
    if (input != nullptr)
        *input = nullptr;
    if (output != nullptr)
        *output = nullptr;
    return false;
}

bool AudioEffectX::setBypass(bool)
{
    return false;
}

bool AudioEffectX::processEvents(const Events*)
{
    return false;
}

bool AudioEffectX::getEffectName(char*) const
{
    return false;
}

bool AudioEffectX::getVendorString(char*) const
{
    return false;
}

bool AudioEffectX::getProductString(char*) const
{
    return false;
}

Pointer AudioEffectX::vendorSpecific(std::int32_t, Pointer, void*, float)
{
    return 0;
}

std::int32_t AudioEffectX::canDo(const char*) const
{
    return 0;
}

} // namespace sorvane::host
