#pragma once

#include "AAX_Host.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace sorvane::aax {

/// One piece of a session's state, in the host's keeping. It holds no version: each chunk's bytes tell of themselves.
struct Chunk {
    std::int32_t chunkId = 0;
    std::int32_t manufacturer = 0;
    std::int32_t product = 0;
    char name[32] = {};
    std::int32_t size = 0; ///< of data in bytes; for a read, the room that the host has as it asked for the size
    std::byte* data = nullptr;
};

enum class ParameterType : std::int32_t { continuous, discrete };

/// What a host shows of a parameter.
struct ParameterInfo {
    const char* identifier;
    const char* name;
    double defaultNormal; ///< 0 to 1
    std::int32_t numSteps;
    ParameterType type;
};

/// An instance's data model, which the host makes, calls on its data model thread and deletes.
class EffectParameters {
public:
    EffectParameters() = default;
    virtual ~EffectParameters() = default;
    EffectParameters(const EffectParameters&) = delete;
    EffectParameters& operator=(const EffectParameters&) = delete;

    /// \param controller  outlives this
    virtual Result initialize(Controller* controller) = 0;
    virtual Result notificationReceived(std::int32_t code, const void* data, std::uint32_t size) = 0;

    [[nodiscard]] virtual std::int32_t getNumberOfParameters() const = 0;
    virtual Result getParameterInfo(std::int32_t index, ParameterInfo& info) const = 0;
    virtual Result getParameterIndex(const char* identifier, std::int32_t& index) const = 0;
    virtual Result getParameterNormalizedValue(const char* identifier, double& normal) const = 0;
    /// \param text  gets what a normalised value reads as
    virtual Result getParameterStringFromValue(const char* identifier, double normal, std::string& text) const = 0;
    virtual Result getParameterValueFromString(const char* identifier, double& normal, const char* text) const = 0;
    /// A wish of a user at the host's own controls: goes the way of automation and comes back as an update.
    virtual Result setParameterNormalizedValue(const char* identifier, double normal) = 0;
    /// The value is now this.
    virtual Result updateParameterNormalizedValue(const char* identifier, double normal) = 0;
    /// Rises with every update.
    [[nodiscard]] virtual std::int32_t getNumberOfChanges() const = 0;

    /// Fills a private block of an algorithm's context before its first callback.
    virtual Result resetPrivateData(std::int32_t field, void* data, std::uint32_t size) = 0;

    [[nodiscard]] virtual std::int32_t getNumberOfChunks() const = 0;
    virtual Result getChunkIDFromIndex(std::int32_t index, std::int32_t& chunkId) const = 0;
    virtual Result getChunkSize(std::int32_t chunkId, std::int32_t& size) = 0;
    virtual Result getChunk(std::int32_t chunkId, Chunk& chunk) = 0;
    virtual Result setChunk(std::int32_t chunkId, const Chunk& chunk) = 0;
    virtual Result compareActiveChunk(const Chunk& chunk, bool& isEqual) const = 0;

    virtual Result getCurveData(std::int32_t code, const float* x, std::uint32_t count, float* y) const = 0;
    virtual Result getParameterValueInfo(const char* identifier, std::int32_t selector, std::int32_t& value) const = 0;
};

} // namespace sorvane::aax
