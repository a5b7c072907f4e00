#pragma once

#include "AEffect.h"
#include "HostParameter.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sorvane::aax {

/// What any effect's data model has: the host's parameters, the access to the controller and the automation, and the
/// chunk of all parameter values.
///
/// That chunk holds each parameter's identifier, NUL-terminated, and its value as a 64-bit float, little-endian.
class EffectParametersBase : public EffectParameters {
public:
    static constexpr std::int32_t kControlStateId = host::fourCharCode("elck");

    Result initialize(Controller* newController) override;

    [[nodiscard]] std::int32_t getNumberOfParameters() const override;
    Result getParameterInfo(std::int32_t index, ParameterInfo& info) const override;
    Result getParameterIndex(const char* identifier, std::int32_t& index) const override;
    Result getParameterNormalizedValue(const char* identifier, double& normal) const override;
    Result getParameterStringFromValue(const char* identifier, double normal, std::string& text) const override;
    Result getParameterValueFromString(const char* identifier, double& normal, const char* text) const override;
    Result setParameterNormalizedValue(const char* identifier, double normal) override;
    Result updateParameterNormalizedValue(const char* identifier, double normal) override;
    [[nodiscard]] std::int32_t getNumberOfChanges() const override { return numberOfChanges; }

    Result resetPrivateData(std::int32_t field, void* data, std::uint32_t size) override;

    [[nodiscard]] std::int32_t getNumberOfChunks() const override { return 1; }
    Result getChunkIDFromIndex(std::int32_t index, std::int32_t& chunkId) const override;
    Result getChunkSize(std::int32_t chunkId, std::int32_t& size) override;
    Result getChunk(std::int32_t chunkId, Chunk& chunk) override;
    Result setChunk(std::int32_t chunkId, const Chunk& chunk) override;
    Result compareActiveChunk(const Chunk& chunk, bool& isEqual) const override;

    Result getCurveData(std::int32_t code, const float* x, std::uint32_t count, float* y) const override;
    Result getParameterValueInfo(const char* identifier, std::int32_t selector, std::int32_t& value) const override;

protected:
    /// Called once the controller and the automation are there; builds the parameters.
    virtual Result effectInit() = 0;

    /// Null until initialize.
    [[nodiscard]] Controller* controller() const noexcept { return hostController.load(std::memory_order_acquire); }
    [[nodiscard]] AutomationDelegate* automation() const noexcept
    {
        return hostAutomation.load(std::memory_order_acquire);
    }

    /// Passes a parameter over whose identifier is there already. \return the one that is there
    HostParameter* addParameter(std::unique_ptr<HostParameter> parameter);
    /// Null outside the list. Any thread once parameters are published.
    [[nodiscard]] HostParameter* parameterAt(std::int32_t index) const;
    /// From here on other threads find the parameters, and none is added.
    void publishParameters() { published.store(true, std::memory_order_release); }
    [[nodiscard]] bool arePublished() const noexcept { return published.load(std::memory_order_acquire); }
    /// Leaves a parameter out of the comparison with a saved state.
    void ignoreInCompare(const char* identifier) { compareIgnored.emplace_back(identifier); }
    /// Puts a value in the parameter that the host names. \param index  gets the parameter's
    Result storeNormalizedValue(const char* identifier, double normal, std::int32_t& index);
    void countChange() noexcept { ++numberOfChanges; }

private:
    [[nodiscard]] HostParameter* find(const char* identifier) const;
    /// The value of each parameter in the chunk, in the chunk's order. \return false for what is no such chunk
    [[nodiscard]] bool readControlState(const Chunk& chunk,
                                        std::vector<std::pair<const HostParameter*, double>>& values) const;

    std::atomic<Controller*> hostController{nullptr};
    std::atomic<AutomationDelegate*> hostAutomation{nullptr};
    std::vector<std::unique_ptr<HostParameter>> parameters;
    std::vector<std::string> compareIgnored;
    std::atomic<bool> published{false};
    std::atomic<std::int32_t> numberOfChanges{0};
};

} // namespace sorvane::aax
