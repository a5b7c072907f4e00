#include "EffectParametersBase.h"

#include "Guarded.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

namespace sorvane::aax {

namespace {

constexpr std::size_t kValueBytes = 8;

void writeValue(std::byte* bytes, double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value);
    for (std::size_t i = 0; i < kValueBytes; ++i)
        bytes[i] = static_cast<std::byte>(bits >> (8 * i) & 0xFFU);
}

double readValue(const char* bytes)
{
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kValueBytes; ++i)
        bits |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    return std::bit_cast<double>(bits);
}

/// Whether two values put the effect in one place: it keeps them in single precision, and steps where it has steps.
bool meansTheSame(const HostParameter& parameter, double a, double b)
{
    constexpr double kSinglePrecision = 1.0e-6;
    return std::abs(a - b) <= kSinglePrecision ||
           (parameter.type == ParameterType::discrete && parameter.stepIndexOf(a) == parameter.stepIndexOf(b));
}

} // namespace

Result EffectParametersBase::initialize(Controller* newController)
{
    if (newController == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    AutomationDelegate* const oldAutomation = hostAutomation.load(std::memory_order_acquire);
    Controller* const oldController = hostController.load(std::memory_order_acquire);
    hostAutomation.store(newController->automationDelegate(), std::memory_order_release);
    hostController.store(newController, std::memory_order_release);
    const Result result = guarded([&] { return effectInit(); });
    if (result != AAX_SUCCESS) { // the host may end the one that failed
        hostAutomation.store(oldAutomation, std::memory_order_release);
        hostController.store(oldController, std::memory_order_release);
    }
    return result;
}

std::int32_t EffectParametersBase::getNumberOfParameters() const
{
    return static_cast<std::int32_t>(parameters.size());
}

Result EffectParametersBase::getParameterInfo(std::int32_t index, ParameterInfo& info) const
{
    const HostParameter* const parameter = parameterAt(index);
    if (parameter == nullptr)
        return AAX_ERROR_INVALID_PARAMETER_ID;
    info = {parameter->identifier.c_str(), parameter->name.c_str(), parameter->defaultNormal, parameter->numSteps,
            parameter->type};
    return AAX_SUCCESS;
}

Result EffectParametersBase::getParameterIndex(const char* identifier, std::int32_t& index) const
{
    const auto found = std::find_if(parameters.begin(), parameters.end(), [&](const auto& p) {
        return identifier != nullptr && p->identifier == identifier;
    });
    if (found == parameters.end())
        return AAX_ERROR_INVALID_PARAMETER_ID;
    index = static_cast<std::int32_t>(found - parameters.begin());
    return AAX_SUCCESS;
}

Result EffectParametersBase::getParameterNormalizedValue(const char* identifier, double& normal) const
{
    const HostParameter* const parameter = find(identifier);
    if (parameter == nullptr)
        return AAX_ERROR_INVALID_PARAMETER_ID;
    normal = parameter->getNormalizedValue();
    return AAX_SUCCESS;
}

Result EffectParametersBase::getParameterStringFromValue(const char* identifier, double normal, std::string& text) const
{
    const HostParameter* const parameter = find(identifier);
    if (parameter == nullptr)
        return AAX_ERROR_INVALID_PARAMETER_ID;
    return guarded([&] { text = parameter->display->valueToText(normal); });
}

Result EffectParametersBase::getParameterValueFromString(const char* identifier, double& normal, const char* text) const
{
    const HostParameter* const parameter = find(identifier);
    if (parameter == nullptr)
        return AAX_ERROR_INVALID_PARAMETER_ID;
    if (text == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    return guarded(
        [&] { return parameter->display->textToValue(text, normal) ? AAX_SUCCESS : AAX_ERROR_UNIMPLEMENTED; });
}

Result EffectParametersBase::setParameterNormalizedValue(const char* identifier, double normal)
{
    if (find(identifier) == nullptr)
        return AAX_ERROR_INVALID_PARAMETER_ID;
    if (std::isnan(normal))
        return AAX_ERROR_INVALID_VALUE;
    AutomationDelegate* const toHost = automation();
    if (toHost == nullptr)
        return updateParameterNormalizedValue(identifier, normal);
    return guarded([&] { return toHost->postSetValueRequest(identifier, std::clamp(normal, 0.0, 1.0)); });
}

Result EffectParametersBase::updateParameterNormalizedValue(const char* identifier, double normal)
{
    std::int32_t index = -1;
    const Result result = storeNormalizedValue(identifier, normal, index);
    if (result == AAX_SUCCESS)
        countChange();
    return result;
}

Result EffectParametersBase::storeNormalizedValue(const char* identifier, double normal, std::int32_t& index)
{
    if (const Result result = getParameterIndex(identifier, index); result != AAX_SUCCESS)
        return result;
    if (std::isnan(normal))
        return AAX_ERROR_INVALID_VALUE;
    parameterAt(index)->storeNormalizedValue(std::clamp(normal, 0.0, 1.0));
    return AAX_SUCCESS;
}

Result EffectParametersBase::resetPrivateData(std::int32_t, void* data, std::uint32_t size)
{
    if (data != nullptr)
        std::memset(data, 0, size);
    return AAX_SUCCESS;
}

Result EffectParametersBase::getChunkIDFromIndex(std::int32_t index, std::int32_t& chunkId) const
{
    chunkId = index == 0 ? kControlStateId : 0;
    return index == 0 ? AAX_SUCCESS : AAX_ERROR_INVALID_CHUNK_INDEX;
}

Result EffectParametersBase::getChunkSize(std::int32_t chunkId, std::int32_t& size)
{
    size = 0;
    if (chunkId != kControlStateId)
        return AAX_ERROR_INVALID_CHUNK_ID;
    for (const auto& parameter : parameters)
        size += static_cast<std::int32_t>(parameter->identifier.size() + 1 + kValueBytes);
    return AAX_SUCCESS;
}

Result EffectParametersBase::getChunk(std::int32_t chunkId, Chunk& chunk)
{
    if (chunkId != kControlStateId)
        return AAX_ERROR_INVALID_CHUNK_ID;
    std::int32_t size = 0;
    if (getChunkSize(chunkId, size) != AAX_SUCCESS || size == 0 || chunk.data == nullptr || chunk.size != size)
        return AAX_ERROR_INCORRECT_CHUNK_SIZE;
    std::byte* at = chunk.data;
    for (const auto& parameter : parameters) {
        const std::size_t length = parameter->identifier.size() + 1;
        std::memcpy(at, parameter->identifier.c_str(), length);
        writeValue(at + length, parameter->getNormalizedValue());
        at += length + kValueBytes;
    }
    chunk.chunkId = chunkId;
    std::strncpy(chunk.name, "Complete Controls State", sizeof chunk.name - 1);
    return AAX_SUCCESS;
}

/// Each value goes the way of an update. Last first: what replaces the others, like the choice of a whole bank, stands
/// behind them in the list and mustn't come after them.
Result EffectParametersBase::setChunk(std::int32_t chunkId, const Chunk& chunk)
{
    if (chunkId != kControlStateId)
        return AAX_ERROR_INVALID_CHUNK_ID;
    return guarded([&]() -> Result {
        std::vector<std::pair<const HostParameter*, double>> values;
        if (!readControlState(chunk, values))
            return AAX_ERROR_INCORRECT_CHUNK_SIZE;
        Result result = AAX_SUCCESS;
        for (auto value = values.rbegin(); value != values.rend(); ++value)
            if (const Result updated = updateParameterNormalizedValue(value->first->identifier.c_str(), value->second);
                updated != AAX_SUCCESS)
                result = updated;
        return result;
    });
}

Result EffectParametersBase::compareActiveChunk(const Chunk& chunk, bool& isEqual) const
{
    isEqual = true;
    if (chunk.chunkId != kControlStateId)
        return AAX_SUCCESS;
    return guarded([&] {
        std::vector<std::pair<const HostParameter*, double>> values;
        isEqual = readControlState(chunk, values) && std::all_of(values.begin(), values.end(), [&](const auto& value) {
                      const auto& [parameter, normal] = value;
                      return meansTheSame(*parameter, normal, parameter->getNormalizedValue()) ||
                             std::find(compareIgnored.begin(), compareIgnored.end(), parameter->identifier) !=
                                 compareIgnored.end();
                  });
        return AAX_SUCCESS;
    });
}

Result EffectParametersBase::getCurveData(std::int32_t, const float*, std::uint32_t, float*) const
{
    return AAX_ERROR_UNIMPLEMENTED;
}

Result EffectParametersBase::getParameterValueInfo(const char*, std::int32_t, std::int32_t&) const
{
    return AAX_ERROR_UNIMPLEMENTED;
}

HostParameter* EffectParametersBase::addParameter(std::unique_ptr<HostParameter> parameter)
{
    if (HostParameter* const there = find(parameter->identifier.c_str()))
        return there;
    return parameters.emplace_back(std::move(parameter)).get();
}

HostParameter* EffectParametersBase::parameterAt(std::int32_t index) const
{
    return index >= 0 && index < getNumberOfParameters() ? parameters[static_cast<std::size_t>(index)].get() : nullptr;
}

HostParameter* EffectParametersBase::find(const char* identifier) const
{
    std::int32_t index = -1;
    (void)getParameterIndex(identifier, index);
    return parameterAt(index);
}

bool EffectParametersBase::readControlState(const Chunk& chunk,
                                            std::vector<std::pair<const HostParameter*, double>>& values) const
{
    if (chunk.data == nullptr || chunk.size <= 0)
        return false;
    std::string_view bytes(reinterpret_cast<const char*>(chunk.data), static_cast<std::size_t>(chunk.size));
    while (!bytes.empty()) {
        const std::size_t length = bytes.find('\0');
        if (length == std::string_view::npos || bytes.size() - length - 1 < kValueBytes)
            return false;
        const double value = readValue(bytes.data() + length + 1);
        if (const HostParameter* const parameter = find(bytes.data()); parameter != nullptr && std::isfinite(value))
            values.emplace_back(parameter, value);
        bytes.remove_prefix(length + 1 + kValueBytes);
    }
    return true;
}

} // namespace sorvane::aax
