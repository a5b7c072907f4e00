#include "PlugBaseJSON.h"

#include "TagTable.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

namespace sorvane::host {

namespace {

constexpr std::string_view kMarker = "ZIP ";
constexpr std::size_t kWindowBytes = 8192;
constexpr double kSameValue = 1.0e-9;

using Window = std::array<Bytef, kWindowBytes>;

/// What has come into the window, as text.
std::string_view filled(const Window& window, const z_stream& stream)
{
    return {reinterpret_cast<const char*>(window.data()), window.size() - stream.avail_out};
}

/// Points a stream at its input; zlib takes it as writable but doesn't write.
void feed(z_stream& stream, std::string_view input)
{
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data())); // NOLINT(*-const-cast)
    stream.avail_in = static_cast<uInt>(input.size());
}

} // namespace

std::string inflateChunk(std::string_view chunk)
{
    z_stream stream{};
    if (!chunk.starts_with(kMarker) || chunk.size() > kMostChunkBytes || inflateInit(&stream) != Z_OK)
        return std::string(chunk);
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> end(&stream, &inflateEnd);
    feed(stream, chunk.substr(kMarker.size()));
    std::string text;
    Window window;
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = window.data();
        stream.avail_out = window.size();
        result = inflate(&stream, Z_NO_FLUSH);
        text.append(filled(window, stream));
        if (text.size() > kMostChunkBytes)
            return std::string(chunk);
    }
    // Out of input (Z_BUF_ERROR) is a chunk that was cut short: the parser judges what there is of it.
    return result == Z_STREAM_END || result == Z_BUF_ERROR ? text : std::string(chunk);
}

std::string deflateChunk(std::string text, std::int32_t level)
{
    text.push_back('\0');
    z_stream stream{};
    if (level <= 0 || deflateInit(&stream, level) != Z_OK)
        return text;
    feed(stream, text);
    std::string chunk(kMarker);
    Window window;
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = window.data();
        stream.avail_out = window.size();
        result = deflate(&stream, Z_FINISH);
        chunk.append(filled(window, stream));
    }
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        std::fputs("bailing!\n", stderr);
        return text;
    }
    return chunk;
}

bool isChunk(std::string_view chunk)
{
    return chunk.size() <= kMostChunkBytes && cJSON_IsObject(parseJSON(inflateChunk(chunk)).get());
}

PlugBaseJSON::PlugBaseJSON(HostCallback callback) : PlugBase(callback)
{
    setFlag(effectProgramChunks, true);
    chunkDirty.set();
}

/// Marked on both sides of the change: a chunk that another thread makes in between holds the old value and isn't kept.
void PlugBaseJSON::setParameter(std::int32_t index, float normal)
{
    markChunkDirty();
    PlugBase::setParameter(index, normal);
    markChunkDirty();
}

void PlugBaseJSON::setProgramNameIndexed(const char* name, std::int32_t index)
{
    PlugBase::setProgramNameIndexed(name, index);
    markChunkDirty();
}

void PlugBaseJSON::copyCurrentToBank(std::int32_t bank)
{
    PlugBase::copyCurrentToBank(bank);
    markChunkDirty();
}

void PlugBaseJSON::setCompressionLevel(std::int32_t level)
{
    level = std::clamp(level, 0, 9);
    if (level == compressionLevel)
        return;
    compressionLevel = level;
    markChunkDirty();
}

std::int32_t PlugBaseJSON::getChunk(void** data, bool isPreset)
{
    if (data == nullptr)
        return 0;
    const StateGate::Passage whole(stateGate);
    const std::lock_guard lock(chunkLock);
    const Chunk chunk = makeChunk(isPreset);
    if (!chunk)
        return 0;
    keepFor(std::this_thread::get_id(), chunk);
    *data = const_cast<char*>(chunk->data()); // NOLINT(*-const-cast): the public interface's type; hosts only read
    return static_cast<std::int32_t>(chunk->size());
}

std::string PlugBaseJSON::copyChunk(bool isPreset)
{
    const StateGate::Passage whole(stateGate);
    const std::lock_guard lock(chunkLock);
    const Chunk chunk = makeChunk(isPreset);
    return chunk ? *chunk : std::string();
}

/// The chunk of what is set now, or the one made last when nothing changed since; null without memory. With the lock
/// held.
PlugBaseJSON::Chunk PlugBaseJSON::makeChunk(bool isPreset)
{
    if (!isPreset && chunkBuffer && !chunkDirty.isSet())
        return chunkBuffer;
    // Taken down before the values are read, so that what changes meanwhile puts it up again. Until there is a new
    // chunk the old one is worth nothing.
    if (!isPreset) {
        chunkBuffer = nullptr;
        chunkDirty.testAndClear();
    }
    const JSONTree root = buildChunkJson(isPreset);
    std::string text = root ? printJSON(*root, true) : std::string();
    if (text.empty())
        return nullptr;
    auto chunk = std::make_shared<const std::string>(deflateChunk(std::move(text), compressionLevel));
    if (!isPreset && chunkCacheable)
        chunkBuffer = chunk;
    return chunk;
}

/// Hosts save from more than one thread and read the bytes after the call: each thread's stay until it asks again.
void PlugBaseJSON::keepFor(std::thread::id thread, const Chunk& chunk)
{
    auto slot = std::find_if(handedOut.begin(), handedOut.end(),
                             [&](const HandedOut& entry) { return entry.thread == thread; });
    if (slot == handedOut.end())
        slot = std::min_element(handedOut.begin(), handedOut.end(),
                                [](const HandedOut& a, const HandedOut& b) { return a.turn < b.turn; });
    *slot = {thread, ++turns, chunk};
}

std::int32_t PlugBaseJSON::setChunk(const void* data, std::int32_t size, bool isPreset)
{
    markChunkDirty();
    if (data == nullptr)
        return 0;
    const StateGate::Passage whole(stateGate);
    const std::string_view chunk(static_cast<const char*>(data), static_cast<std::size_t>(std::max(size, 0)));
    if (chunk.size() <= kMostChunkBytes && loadChunkJson(inflateChunk(chunk), isPreset))
        keepBankParameter();
    updateParameters(true);
    markChunkDirty();
    return size;
}

JSONTree PlugBaseJSON::buildChunkJson(bool isPreset)
{
    JSONTree root(cJSON_CreateObject());
    if (!root)
        return nullptr;
    if (isPreset) {
        writeProgramParameters(root.get(), curProgram);
        cJSON_AddStringToObject(root.get(), "name", currentProgram().getName().c_str());
        return root;
    }
    cJSON* const presets = cJSON_AddArrayToObject(root.get(), "presets");
    for (std::int32_t i = 0; i < core::kNumPrograms; ++i) {
        cJSON* const element = cJSON_CreateObject();
        cJSON_AddItemToArray(presets, element);
        writeProgramParameters(element, i);
        cJSON_AddStringToObject(element, "name", programs[static_cast<std::size_t>(i)].getName().c_str());
    }
    cJSON* const ab = cJSON_AddArrayToObject(root.get(), "ab");
    for (std::int32_t i = 0; i < kNumBanks; ++i) {
        cJSON* const element = cJSON_CreateObject();
        cJSON_AddItemToArray(ab, element);
        writeBankParameters(element, i);
    }
    return root;
}

JSONTree PlugBaseJSON::loadChunkJson(std::string_view text, bool isPreset)
{
    JSONTree root = parseJSON(text);
    if (!cJSON_IsObject(root.get())) // some text that happens to begin like JSON must not clear a user's settings
        return nullptr;
    onChunkParsed(root.get(), isPreset);
    if (isPreset)
        loadPreset(root.get());
    else
        loadBank(root.get());
    return root;
}

void PlugBaseJSON::loadPreset(const cJSON* root)
{
    if (const char* const name = textMember(root, "name"))
        setProgramName(name);
    const cJSON* const presets = cJSON_GetObjectItem(root, "presets");
    const cJSON* const first = cJSON_IsArray(presets) ? cJSON_GetArrayItem(presets, 0) : nullptr;
    readProgramParameters(first != nullptr ? first : root, curProgram);
    setProgram(curProgram);
}

void PlugBaseJSON::loadBank(const cJSON* root)
{
    struct Done { // also when the host or memory fails us
        dsp::Relaxed<bool>& flag;
        ~Done() { flag.storeInOrder(false); }
    };
    bankSwitching = true;
    const Done done{bankSwitching};
    const cJSON* const presets = cJSON_GetObjectItem(root, "presets");
    if (presets != nullptr) {
        loadPrograms(presets);
    } else {
        if (const char* const name = textMember(root, "name"))
            setProgramName(name);
        readProgramParameters(root, curProgram);
    }
    setProgram(curProgram);
    if (const cJSON* const ab = cJSON_GetObjectItem(root, "ab")) {
        std::int32_t bank = 0;
        for (const cJSON* element = ab->child; element != nullptr && bank < kNumBanks; element = element->next)
            readBankParameters(element, bank++);
    } else if (presets != nullptr) {
        for (std::int32_t bank = 0; bank < kNumBanks; ++bank)
            copyCurrentToBank(bank);
    }
}

void PlugBaseJSON::loadPrograms(const cJSON* presets)
{
    std::int32_t program = 0;
    for (const cJSON* element = presets->child; element != nullptr && program < core::kNumPrograms;
         element = element->next) {
        if (const char* const name = textMember(element, "name"))
            setProgramNameIndexed(name, program);
        readProgramParameters(element, program++);
    }
}

void PlugBaseJSON::writeProgramParameters(cJSON* object, std::int32_t index) const
{
    writeParameters(object, programs[static_cast<std::size_t>(index)]);
}

void PlugBaseJSON::writeBankParameters(cJSON* object, std::int32_t index) const
{
    writeParameters(object, banks[static_cast<std::size_t>(index)]);
}

void PlugBaseJSON::readProgramParameters(const cJSON* object, std::int32_t index)
{
    readParameters(object, programs[static_cast<std::size_t>(index)]);
}

void PlugBaseJSON::readBankParameters(const cJSON* object, std::int32_t index)
{
    readParameters(object, banks[static_cast<std::size_t>(index)]);
}

void PlugBaseJSON::writeParameters(cJSON* object, const Program& source) const
{
    const auto isFactory = [](const dsp::Relaxed<float>& a, const dsp::Relaxed<float>& b) {
        return a.load() == b.load();
    };
    if (std::equal(source.values.begin(), source.values.end(), defaultProgram.values.begin(), isFactory)) {
        cJSON_AddStringToObject(object, "parameters", "default");
        return;
    }
    cJSON* const parameters = cJSON_AddObjectToObject(object, "parameters");
    for (std::int32_t tag = 0; tag < core::kNumParams; ++tag) {
        const auto slot = static_cast<std::size_t>(tag);
        const double value = source.values[slot];
        if (std::abs(value - defaultProgram.values[slot]) >= kSameValue)
            cJSON_AddNumberToObject(parameters, core::TagTable::instance().name(tag).data(), value);
    }
}

void PlugBaseJSON::readParameters(const cJSON* object, Program& target) const
{
    target.values = defaultProgram.values;
    const cJSON* const parameters = cJSON_GetObjectItem(object, "parameters");
    if (!cJSON_IsObject(parameters))
        return;
    const auto& tags = core::TagTable::instance();
    std::int32_t tag = 0; // the one expected next, which is right for members in the order of the tags
    for (const cJSON* member = parameters->child; member != nullptr; member = member->next, ++tag) {
        if (tags.name(tag) != member->string) {
            const auto found = tags.parameter(member->string);
            if (!found)
                continue;
            tag = *found;
        }
        if (!core::isParameter(tag))
            continue;
        const double stored = cJSON_IsNumber(member) ? member->valuedouble : 0.0;
        target.values[static_cast<std::size_t>(tag)] = convertStoredValue(tag, stored);
    }
}

float PlugBaseJSON::convertStoredValue(std::int32_t, double stored) const
{
    return static_cast<float>(std::clamp(stored, 0.0, 1.0));
}

} // namespace sorvane::host
