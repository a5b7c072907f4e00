#pragma once

#include "AtomicFlag.h"
#include "JSONTree.h"
#include "PlugBase.h"
#include "StateGate.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace sorvane::host {

/// The most text that a chunk may hold; a longer one isn't loaded.
inline constexpr std::size_t kMostChunkBytes = std::size_t{64} << 20U;

/// Gives the text of a chunk: itself if it is plain, else inflated. A damaged stream, or one that holds more than
/// kMostChunkBytes, gives back the chunk as it is, which no parser takes; one that is cut short gives what it holds up
/// to there.
[[nodiscard]] std::string inflateChunk(std::string_view chunk);

/// Makes a chunk of a text: the text and a final 0, deflated unless \p level is 0 or deflating fails.
/// \param level  of deflate, 0 to 9
[[nodiscard]] std::string deflateChunk(std::string text, std::int32_t level);

/// Whether a chunk holds what setChunk takes, whatever of it the effect knows.
[[nodiscard]] bool isChunk(std::string_view chunk);

/// The effect's state as one chunk of JSON, deflated or plain, for hosts' sessions, preset and bank files and undo.
///
/// A chunk is either that of a bank (program, A/B banks, the editor's own state) or that of a preset (program and
/// editor). Parameters stand under the names of their tags, those at the factory value left out; keys that aren't known
/// are passed over, and what isn't named goes back to the factory value. Any thread but the audio thread may ask for
/// chunks and load them, also beside a running block.
class PlugBaseJSON : public PlugBase {
public:
    explicit PlugBaseJSON(HostCallback callback);

    void setParameter(std::int32_t index, float normal) override;
    void setProgramNameIndexed(const char* name, std::int32_t index) override;
    void copyCurrentToBank(std::int32_t bank) override;

    /// \param data  is pointed at the chunk, which the effect owns and keeps until the same thread asks again, some
    ///              other 16 threads have asked, or the effect ends. Twice without a change between: the same bytes
    /// \return its size in bytes; 0 without memory
    std::int32_t getChunk(void** data, bool isPreset) override;
    /// Loads a chunk; what isn't one changes nothing.
    /// \return 0 for null data, else \p size, whatever became of the load
    std::int32_t setChunk(const void* data, std::int32_t size, bool isPreset) override;
    /// The bytes that getChunk gives, as the caller's own; empty without memory.
    [[nodiscard]] std::string copyChunk(bool isPreset);

    /// \param level  of deflate, 0 to 9; 0 writes plain text
    virtual void setCompressionLevel(std::int32_t level);
    /// Notes that something changed that a chunk holds. Any thread.
    void markChunkDirty() noexcept { chunkDirty.set(); }

protected:
    /// The state as a tree, null without memory. An effect with an editor adds the editor's state to it.
    [[nodiscard]] virtual JSONTree buildChunkJson(bool isPreset);
    /// Parses a chunk's text and applies it. \return the tree; null if it couldn't be parsed, and then nothing changed
    virtual JSONTree loadChunkJson(std::string_view text, bool isPreset);

    /// A chunk was parsed, an object; nothing is applied yet.
    virtual void onChunkParsed(const cJSON*, bool) {}

    /// The member "parameters" of one program or A/B bank, to and from the object that stands for it.
    void writeProgramParameters(cJSON* object, std::int32_t index) const;
    void writeBankParameters(cJSON* object, std::int32_t index) const;
    void readProgramParameters(const cJSON* object, std::int32_t index);
    void readBankParameters(const cJSON* object, std::int32_t index);
    /// The normalised value of a number that a chunk holds for a parameter, 0 to 1.
    [[nodiscard]] virtual float convertStoredValue(std::int32_t index, double stored) const;

    bool chunkCacheable = false;

private:
    using Chunk = std::shared_ptr<const std::string>;

    /// A chunk that some thread was handed and may still be reading.
    struct HandedOut {
        std::thread::id thread;
        std::uint64_t turn = 0;
        Chunk chunk;
    };

    [[nodiscard]] Chunk makeChunk(bool isPreset);
    void keepFor(std::thread::id thread, const Chunk& chunk);
    void loadPreset(const cJSON* root);
    void loadBank(const cJSON* root);
    void loadPrograms(const cJSON* presets);
    void writeParameters(cJSON* object, const Program& source) const;
    void readParameters(const cJSON* object, Program& target) const;

    StateGate stateGate; ///< passed before the chunk lock
    dsp::Relaxed<std::int32_t> compressionLevel{9};
    const Program defaultProgram; ///< the factory values
    AtomicFlag chunkDirty;        ///< something changed since the bank chunk was last made
    std::mutex chunkLock;         ///< guards what follows
    Chunk chunkBuffer;            ///< the bank chunk made last
    std::array<HandedOut, 16> handedOut;
    std::uint64_t turns = 0;
};

} // namespace sorvane::host
