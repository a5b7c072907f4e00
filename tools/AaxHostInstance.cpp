#include "AaxHostInstance.h"

#include "AEffect.h"
#include "Failure.h"

#include <cmath>
#include <utility>

namespace sorvane::tools {

using aax::AAX_SUCCESS;
using aax::Result;

AaxAudioThread::AaxAudioThread()
    : thread([this] {
          std::unique_lock guard(lock);
          while (true) {
              changed.wait(guard, [this] { return next != nullptr || ends; });
              if (next == nullptr)
                  return;
              (*next)();
              next = nullptr;
              changed.notify_all();
          }
      })
{}

AaxAudioThread::~AaxAudioThread()
{
    {
        const std::lock_guard guard(lock);
        ends = true;
    }
    changed.notify_all();
    thread.join();
}

void AaxAudioThread::run(const std::function<void()>& work)
{
    std::unique_lock guard(lock);
    next = &work;
    changed.notify_all();
    changed.wait(guard, [this] { return next == nullptr; });
}

Result AaxTransport::tempo(double& bpm) const
{
    bpm = beatsPerMinute;
    return AAX_SUCCESS;
}

Result AaxTransport::meter(std::int32_t& numerator, std::int32_t& denominator) const
{
    numerator = beats;
    denominator = beatUnit;
    return AAX_SUCCESS;
}

Result AaxTransport::isPlaying(bool& isOn) const
{
    isOn = playing;
    return AAX_SUCCESS;
}

Result AaxTransport::loop(bool& isOn, std::int64_t& start, std::int64_t& end) const
{
    isOn = looping;
    start = loopStart;
    end = loopEnd;
    return AAX_SUCCESS;
}

Result AaxTransport::tickPosition(std::int64_t& position) const
{
    position = ticks;
    return AAX_SUCCESS;
}

Result AaxTransport::sampleLocation(std::int64_t& location) const
{
    location = samples;
    return AAX_SUCCESS;
}

void AaxTransport::moveTo(std::int64_t location, double rateHz)
{
    samples = location;
    ticks = std::llround(static_cast<double>(location) / rateHz * beatsPerMinute / 60.0 * 960000.0);
}

AaxInstance::AaxInstance(const AaxLibrary& library, AaxAudioThread& thread, std::int32_t channels, float rateHz)
    : component(library.effect().componentFor(channels)), audioThread(thread), rate(rateHz)
{
    const auto create = library.effect().createParameters;
    if (component == nullptr || component->properties == nullptr || component->callback == nullptr)
        throw Failure(ExitCode::input,
                      "the plug-in has no component of " + std::to_string(channels) + " channels that processes");
    if (create == nullptr)
        throw Failure(ExitCode::input, "the plug-in's effect makes no data model");
    parameters.reset(create());
    if (!parameters)
        throw Failure(ExitCode::input, "the plug-in gives no instance");
    if (const Result result = parameters->initialize(this); result != AAX_SUCCESS)
        throw Failure(ExitCode::input, "the instance can't be initialized: result " + std::to_string(result));
    resetPrivateBlocks();
}

AaxInstance::~AaxInstance()
{
    parameters.reset();
}

void AaxInstance::resetPrivateBlocks()
{
    (void)parameters->resetPrivateData(aax::fieldMidiOut, &midiOutBlock, sizeof midiOutBlock);
    (void)parameters->resetPrivateData(aax::fieldPrivateBlock, &privateBlock, sizeof privateBlock);
}

std::string AaxInstance::identifier(std::int32_t index) const
{
    aax::ParameterInfo info{};
    return parameters->getParameterInfo(index, info) == AAX_SUCCESS ? info.identifier : "";
}

void AaxInstance::automate(std::int32_t index, double normal)
{
    (void)parameters->setParameterNormalizedValue(identifier(index).c_str(), normal);
    deliverAutomation();
}

void AaxInstance::setBypass(bool on)
{
    (void)parameters->setParameterNormalizedValue("MasterBypassID", on ? 1.0 : 0.0);
    deliverAutomation();
}

void AaxInstance::deliverAutomation()
{
    std::vector<Request> taken;
    {
        const std::lock_guard guard(requestLock);
        taken.swap(requests);
    }
    for (const Request& request : taken)
        (void)parameters->updateParameterNormalizedValue(request.identifier.c_str(), request.normal);
}

double AaxInstance::value(std::int32_t index) const
{
    double normal = -1.0;
    (void)parameters->getParameterNormalizedValue(identifier(index).c_str(), normal);
    return normal;
}

void AaxInstance::notify(const char (&code)[5], const void* data, std::uint32_t size)
{
    (void)parameters->notificationReceived(host::fourCharCode(code), data, size);
}

std::vector<AaxSavedChunk> AaxInstance::save()
{
    std::vector<AaxSavedChunk> chunks;
    for (std::int32_t i = 0; i < parameters->getNumberOfChunks(); ++i) {
        AaxSavedChunk saved{};
        std::int32_t size = 0;
        aax::Chunk chunk;
        if (parameters->getChunkIDFromIndex(i, saved.chunkId) == AAX_SUCCESS &&
            parameters->getChunkSize(saved.chunkId, size) == AAX_SUCCESS && size >= 0) {
            saved.bytes.resize(static_cast<std::size_t>(size));
            chunk.size = size;
            chunk.data = saved.bytes.data();
        }
        if (parameters->getChunk(saved.chunkId, chunk) != AAX_SUCCESS)
            throw Failure(ExitCode::input, "the plug-in doesn't give its chunk " + std::to_string(i));
        saved.name = chunk.name;
        chunks.push_back(std::move(saved));
    }
    return chunks;
}

void AaxInstance::restore(const std::vector<AaxSavedChunk>& chunks)
{
    for (const AaxSavedChunk& saved : chunks) {
        std::vector<std::byte> bytes = saved.bytes;
        aax::Chunk chunk;
        chunk.chunkId = saved.chunkId;
        chunk.size = static_cast<std::int32_t>(bytes.size());
        chunk.data = bytes.data();
        if (parameters->setChunk(saved.chunkId, chunk) != AAX_SUCCESS)
            throw Failure(ExitCode::input, "the plug-in doesn't take its chunk \"" + saved.name + '"');
    }
    deliverAutomation();
}

void AaxInstance::process(float** inputs, float** outputs, std::int32_t frames, std::int32_t sideChain)
{
    aax::AlgorithmContext context{.audioInput = inputs,
                                  .audioOutput = outputs,
                                  .bufferLength = &frames,
                                  .sampleRate = &rate,
                                  .clock = &clock,
                                  .midiIn = &midiNode,
                                  .midiOut = &midiOutBlock,
                                  .transport = &transportNode,
                                  .privateBlock = &privateBlock,
                                  .meters = meters.data(),
                                  .sideChainInput = &sideChain};
    aax::AlgorithmContext* const list[] = {&context};
    audioThread.run([&] { component->callback(std::begin(list), std::end(list)); });
    midi.clear();
    clock += std::llround(1.0e9 * frames / static_cast<double>(rate));
    if (transport.playing)
        transport.moveTo(transport.samples + frames, static_cast<double>(rate));
}

std::vector<std::string> AaxInstance::automationLog()
{
    const std::lock_guard guard(requestLock);
    return std::exchange(log, {});
}

std::uint32_t AaxInstance::InputNode::packets(const aax::MidiPacket*& list)
{
    list = source.data();
    return static_cast<std::uint32_t>(source.size());
}

Result AaxInstance::getSampleRate(float& hertz) const
{
    hertz = rate;
    return AAX_SUCCESS;
}

Result AaxInstance::getInputStemFormat(std::uint32_t& format) const
{
    format = static_cast<std::uint32_t>(component->properties->value(aax::propertyInputStemFormat));
    return AAX_SUCCESS;
}

Result AaxInstance::setSignalLatency(std::int32_t samples)
{
    signalLatency = samples;
    return AAX_SUCCESS;
}

Result AaxInstance::postSetValueRequest(const char* id, double normal)
{
    const std::lock_guard guard(requestLock);
    requests.push_back({id, normal});
    log.push_back(std::string("s") + id);
    return AAX_SUCCESS;
}

Result AaxInstance::postTouchRequest(const char* id)
{
    const std::lock_guard guard(requestLock);
    log.push_back(std::string("t") + id);
    return AAX_SUCCESS;
}

Result AaxInstance::postReleaseRequest(const char* id)
{
    const std::lock_guard guard(requestLock);
    log.push_back(std::string("r") + id);
    return AAX_SUCCESS;
}

} // namespace sorvane::tools
