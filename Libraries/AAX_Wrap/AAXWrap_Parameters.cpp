#include "AAXWrap_Parameters.h"

#include "AAXWrap_Description.h"
#include "AAXWrap_DisplayDelegate.h"
#include "AAXWrap_GUI.h"
#include "AAXWrap_Trace.h"
#include "Guarded.h"
#include "ParameterText.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstring>
#include <mutex>

namespace sorvane::aax {

namespace {

constexpr std::int32_t kContinuousSteps = 1000;
constexpr std::int32_t kNotificationOffline = host::fourCharCode("AXof");
constexpr std::int32_t kNotificationLive = host::fourCharCode("AXox");
constexpr std::int32_t kNotificationTrackName = host::fourCharCode("AXtn");

std::atomic<std::int32_t> liveInstances{0};

/// Blank, "d", a letter for the kind, and a character for the index: automation in sessions is kept under it.
std::string identifierOf(std::int32_t index, bool isContinuous)
{
    return {' ', 'd', isContinuous ? 'l' : 'd', static_cast<char>(' ' + index)};
}

/// The timer reports a latency after it has let go of the effect, whose instance may be about to end.
std::mutex reportLock;
std::condition_variable reportEnded;

std::atomic_ref<void*> userOf(host::AEffect& record)
{
    return std::atomic_ref(record.user);
}

} // namespace

AAXWrap_Parameters::AAXWrap_Parameters() : effect(std::make_unique<core::Plug>(hostCallback))
{
    userOf(*effect->getAeffect()) = this; // only now can the effect's calls reach this
    midiAccepted = effect->canDo("receiveVstEvents") == 1;
    ++liveInstances;
}

AAXWrap_Parameters::~AAXWrap_Parameters()
{
    if (view != nullptr)
        (void)view->uninitialize(); // its window is closed while there is an editor to close it
    {
        std::unique_lock guard(reportLock);
        userOf(*effect->getAeffect()) = nullptr;
        reportEnded.wait(guard, [this] { return reportsUnderWay == 0; });
    }
    effect->close();
    effect.reset();
    --liveInstances;
}

EffectParameters* AAXWrap_Parameters::create() noexcept
{
    try {
        return new AAXWrap_Parameters;
    } catch (...) {
        return nullptr;
    }
}

std::int32_t AAXWrap_Parameters::instanceCount() noexcept
{
    return liveInstances;
}

void AAXWrap_Parameters::giveEditorTo(AAXWrap_GUI& newView)
{
    if (view != nullptr && view != &newView)
        (void)view->uninitialize();
    view = &newView;
}

void AAXWrap_Parameters::takeEditorBackFrom(const AAXWrap_GUI& oldView) noexcept
{
    if (view == &oldView)
        view = nullptr;
}

Result AAXWrap_Parameters::initialize(Controller* newController)
{
    return guarded([&] {
        const Result result = EffectParametersBase::initialize(newController);
        if (result == AAX_SUCCESS)
            ignoreInCompare(kMasterBypassId);
        return result;
    });
}

Result AAXWrap_Parameters::effectInit()
{
    float rateHz = 0.0F;
    std::uint32_t stemFormat = 0;
    if (const Result result = controller()->getSampleRate(rateHz); result != AAX_SUCCESS)
        return result;
    if (const Result result = controller()->getInputStemFormat(stemFormat); result != AAX_SUCCESS)
        return result;
    channels = channelCount(stemFormat) == 1 ? 1 : 2;
    if (channels == 1)
        effect->setChannelNames({{0, "Mono", "Mono"}});
    else
        effect->setChannelNames({{0, "Left", "Mid"}, {1, "Right", "Side"}});
    effect->setSampleRate(rateHz);
    effect->resume();
    reportLatency();
    hostChunk.clear();
    buildParameters();
    return AAX_SUCCESS;
}

void AAXWrap_Parameters::buildParameters()
{
    if (arePublished()) // a second initialize finds them all there
        return;
    for (std::int32_t index = 0; index < core::kNumParams; ++index)
        addParameter(makeParameter(index));
    masterBypass =
        addParameter(std::make_unique<HostParameter>(kMasterBypassId, "Master Bypass", 0.0, 2, ParameterType::discrete,
                                                     std::make_unique<BinaryDisplayDelegate>("bypass", "on")));
    publishParameters();
}

std::unique_ptr<HostParameter> AAXWrap_Parameters::makeParameter(std::int32_t index) const
{
    const std::int32_t steps = effect->getParameterSteps(index);
    const bool isContinuous = steps == 0;
    char name[core::kParameterTextBytes] = {};
    effect->getParameterName(index, name);
    std::int32_t hostSteps = kContinuousSteps;
    if (!isContinuous)
        hostSteps = effect->getParameterStepSize(index) == 1 ? steps + 1 : steps;
    return std::make_unique<HostParameter>(identifierOf(index, isContinuous), name, defaultOf(index), hostSteps,
                                           isContinuous ? ParameterType::continuous : ParameterType::discrete,
                                           std::make_unique<AAXWrap_DisplayDelegate>(*effect, index));
}

/// What the parameter stands at, not its factory value: the user's default bank has been read by now.
double AAXWrap_Parameters::defaultOf(std::int32_t index) const
{
    if (effect->getParameterSteps(index) <= 1 || effect->getParameterStepSize(index) != 1)
        return effect->getParameter(index);
    const double low = effect->getParameterMin(index);
    const double high = effect->getParameterMax(index);
    return (effect->getParameterValue(index) - low) / (high - low + 1.0);
}

float AAXWrap_Parameters::toEffect(std::int32_t index, const HostParameter& parameter) const
{
    if (effect->getParameterSteps(index) <= 1)
        return static_cast<float>(parameter.getNormalizedValue());
    const std::int32_t distance = parameter.getStepIndex() * effect->getParameterStepSize(index);
    return effect->toNormalised(index, static_cast<float>(distance) + effect->fromNormalised(index, 0.0F));
}

double AAXWrap_Parameters::toHost(std::int32_t index, float normal) const
{
    if (effect->getParameterSteps(index) <= 1 || effect->getParameterStepSize(index) != 1)
        return normal;
    const double low = effect->fromNormalised(index, 0.0F);
    const double high = effect->fromNormalised(index, 1.0F);
    return (effect->getParameterValue(index) - low) / (high - low + 1.0);
}

/// Every change comes this way, those that the effect asked for too.
Result AAXWrap_Parameters::updateParameterNormalizedValue(const char* identifier, double normal)
{
    std::int32_t index = -1;
    if (const Result stored = storeNormalizedValue(identifier, normal, index); stored != AAX_SUCCESS)
        return stored;
    const Result result = guarded([&] { bringToEffect(index, *parameterAt(index)); });
    countChange();
    return result;
}

void AAXWrap_Parameters::bringToEffect(std::int32_t index, const HostParameter& parameter)
{
    if (&parameter != masterBypass) {
        effect->setParameter(index, toEffect(index, parameter));
        effect->updateLatency(); // else the timer would tell the host, a little later
        return;
    }
    bypassActive.storeInOrder(parameter.isTrue());
    reportLatency();
    effect->setParameter(index, static_cast<float>(parameter.getNormalizedValue())); // no parameter of the effect's
}

std::int32_t AAXWrap_Parameters::signalLatency() const noexcept
{
    return bypassActive.loadInOrder() ? 0 : effect->getInitialDelay();
}

/// The timer reports a changed latency while the data model switches the bypass: whoever finds that it has changed once
/// more reports again, so that the last word is the right one.
void AAXWrap_Parameters::reportLatency() noexcept
{
    Controller* const toHost = controller();
    if (toHost == nullptr)
        return;
    std::int32_t reported = 0;
    do {
        reported = signalLatency();
        (void)guarded([&] { return toHost->setSignalLatency(reported); });
    } while (reported != signalLatency());
}

Result AAXWrap_Parameters::notificationReceived(std::int32_t code, const void* data, std::uint32_t size)
{
    switch (code) {
    case kNotificationOffline:
        offlineMode = true;
        break;
    case kNotificationLive:
        offlineMode = false;
        break;
    case kNotificationTrackName:
        if (data != nullptr)
            (void)guarded([&] { setTrackName(static_cast<const char*>(data), size); });
        break;
    default: // a preview of AudioSuite's too: there is no parameter for it
        break;
    }
    return AAX_SUCCESS;
}

void AAXWrap_Parameters::setTrackName(const char* name, std::uint32_t size)
{
    std::array<char, 128> text{};
    const std::size_t length = strnlen(name, std::min<std::size_t>(size, text.size() - 1));
    std::transform(name, name + length, text.begin(),
                   [](char c) { return static_cast<unsigned char>(c) > 127 ? '?' : c; });
    trackNameChanged(text.data());
}

Result AAXWrap_Parameters::resetPrivateData(std::int32_t field, void* data, std::uint32_t size)
{
    (void)EffectParametersBase::resetPrivateData(field, data, size);
    if (field != kPrivateField || data == nullptr)
        return AAX_SUCCESS;
    if (size != sizeof(SAAXWrap_Alg_Context_Private))
        trace("iDataSize==sizeof(SAAXWrap_Alg_Context_Private)");
    const SAAXWrap_Alg_Context_Private block{this};
    std::memcpy(data, &block, std::min<std::size_t>(size, sizeof block));
    return AAX_SUCCESS;
}

Result AAXWrap_Parameters::getChunkIDFromIndex(std::int32_t index, std::int32_t& chunkId) const
{
    if (index != 1)
        return EffectParametersBase::getChunkIDFromIndex(index, chunkId);
    chunkId = effect->getAeffect()->uniqueID;
    return AAX_SUCCESS;
}

Result AAXWrap_Parameters::getChunkSize(std::int32_t chunkId, std::int32_t& size)
{
    if (chunkId != effect->getAeffect()->uniqueID)
        return EffectParametersBase::getChunkSize(chunkId, size);
    size = 0;
    return guarded([&] {
        hostChunk = effect->copyChunk(false);
        size = static_cast<std::int32_t>(hostChunk.size());
        return hostChunk.empty() ? AAX_ERROR_OUT_OF_MEMORY : AAX_SUCCESS; // else an empty state would be saved
    });
}

Result AAXWrap_Parameters::getChunk(std::int32_t chunkId, Chunk& chunk)
{
    chunk.manufacturer = kManufacturerCode;
    chunk.product = kProductCode;
    if (chunkId != effect->getAeffect()->uniqueID)
        return EffectParametersBase::getChunk(chunkId, chunk);
    return guarded([&] { return readEffectChunk(chunk); });
}

/// The bytes whose size was asked for go out once: a later read without a query of its own gets what is set by then.
Result AAXWrap_Parameters::readEffectChunk(Chunk& chunk)
{
    if (hostChunk.empty())
        hostChunk = effect->copyChunk(false);
    if (hostChunk.empty())
        return AAX_ERROR_OUT_OF_MEMORY;
    const auto size = static_cast<std::int32_t>(hostChunk.size());
    if (chunk.data == nullptr || chunk.size < size)
        return AAX_ERROR_INCORRECT_CHUNK_SIZE;
    std::memcpy(chunk.data, hostChunk.data(), hostChunk.size());
    hostChunk.clear();
    chunk.chunkId = effect->getAeffect()->uniqueID;
    chunk.size = size;
    std::strncpy(chunk.name, "Plugin Chunk", sizeof chunk.name - 1);
    return AAX_SUCCESS;
}

Result AAXWrap_Parameters::setChunk(std::int32_t chunkId, const Chunk& chunk)
{
    if (chunkId != effect->getAeffect()->uniqueID) {
        restoring = std::this_thread::get_id();
        const Result result = EffectParametersBase::setChunk(chunkId, chunk);
        restoring = std::thread::id();
        return result;
    }
    if (chunk.size < 0)
        return AAX_ERROR_INCORRECT_CHUNK_SIZE;
    if (chunk.size == 0) // can't be parsed, as other bytes that are no state: nothing changes
        return AAX_SUCCESS;
    if (chunk.data == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    return guarded([&] {
        const std::string copy(reinterpret_cast<const char*>(chunk.data), static_cast<std::size_t>(chunk.size));
        hostChunk.clear(); // it tells of a state that is gone
        effect->setChunk(copy.data(), chunk.size, false);
        effect->updateLatency(); // at once, so that a host that renders next compensates for what it restored
        reportLatency();         // if the timer was faster and is yet to tell it
        return AAX_SUCCESS;
    });
}

host::Pointer AAXWrap_Parameters::hostCallback(host::AEffect* record, std::int32_t opcode, std::int32_t index,
                                               host::Pointer, void* data, float option)
{
    if (record == nullptr)
        return 0;
    if (opcode == host::hostIOChanged) {
        reportLatencyOf(*record);
        return 0;
    }
    auto* const instance = static_cast<AAXWrap_Parameters*>(userOf(*record).load());
    host::Pointer answered = 0;
    if (instance != nullptr)
        (void)guarded([&] { answered = instance->answer(opcode, index, data, option); }); // the delegate may throw
    return answered;
}

/// The one call that may come without the effect's own holding the instance alive.
void AAXWrap_Parameters::reportLatencyOf(host::AEffect& record)
{
    AAXWrap_Parameters* instance = nullptr;
    {
        const std::lock_guard guard(reportLock);
        instance = static_cast<AAXWrap_Parameters*>(userOf(record).load());
        if (instance == nullptr)
            return;
        ++instance->reportsUnderWay;
    }
    instance->reportLatency();
    const std::lock_guard guard(reportLock);
    --instance->reportsUnderWay;
    reportEnded.notify_all();
}

host::Pointer AAXWrap_Parameters::answer(std::int32_t opcode, std::int32_t index, void* data, float option)
{
    HostParameter* const parameter = arePublished() && index < core::kNumParams ? parameterAt(index) : nullptr;
    switch (opcode) {
    case host::hostAutomate:
        if (parameter != nullptr)
            setAutomatedValue(*parameter, toHost(index, option));
        return 0;
    case hostGetTime:
        return reinterpret_cast<host::Pointer>(&timeInfo);
    case hostProcessEvents:
        if (data != nullptr)
            queueEvents(*static_cast<const host::Events*>(data));
        return 0;
    case host::hostProcessLevel:
        return offlineMode ? host::processLevelOffline : host::processLevelRealtime;
    case host::hostBeginEdit:
        if (AutomationDelegate* const delegate = delegateForEdits(); parameter != nullptr && delegate != nullptr)
            (void)delegate->postTouchRequest(parameter->identifier.c_str());
        return 0;
    case host::hostEndEdit:
        if (AutomationDelegate* const delegate = delegateForEdits(); parameter != nullptr && delegate != nullptr)
            (void)delegate->postReleaseRequest(parameter->identifier.c_str());
        return 0;
    default:
        return 0;
    }
}

/// The delegate brings a value back later, as an update. Where there is none, the effect holds the value already and
/// only the host's side is to follow. So it is while the control state is restored: a value of a bank that was chosen
/// there mustn't come back behind the restored one.
void AAXWrap_Parameters::setAutomatedValue(HostParameter& parameter, double normal)
{
    if (AutomationDelegate* const delegate = delegateForEdits()) {
        (void)delegate->postSetValueRequest(parameter.identifier.c_str(), normal);
        return;
    }
    parameter.storeNormalizedValue(normal);
    countChange();
}

/// Null when the host isn't to be asked.
AutomationDelegate* AAXWrap_Parameters::delegateForEdits() const noexcept
{
    return restoring.load() == std::this_thread::get_id() ? nullptr : automation();
}

} // namespace sorvane::aax
