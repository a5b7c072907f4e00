#include "Lv2Bundle.h"

#include "Files.h"
#include "ParameterText.h"
#include "TagTable.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace sorvane::lv2 {

using core::ScaleType;

namespace {

constexpr std::string_view kPrefixes = R"(@prefix atom:   <http://lv2plug.in/ns/ext/atom#> .
@prefix bufsz:  <http://lv2plug.in/ns/ext/buf-size#> .
@prefix doap:   <http://usefulinc.com/ns/doap#> .
@prefix foaf:   <http://xmlns.com/foaf/0.1/> .
@prefix lv2:    <http://lv2plug.in/ns/lv2core#> .
@prefix midi:   <http://lv2plug.in/ns/ext/midi#> .
@prefix opts:   <http://lv2plug.in/ns/ext/options#> .
@prefix owl:    <http://www.w3.org/2002/07/owl#> .
@prefix pg:     <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset:   <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf:    <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs:   <http://www.w3.org/2000/01/rdf-schema#> .
@prefix state:  <http://lv2plug.in/ns/ext/state#> .
@prefix units:  <http://lv2plug.in/ns/extensions/units#> .
@prefix urid:   <http://lv2plug.in/ns/ext/urid#> .
@prefix xsd:    <http://www.w3.org/2001/XMLSchema#> .
@prefix sorvane: <urn:kestrune:sorvane#> .

)";

/// A decimal with a point, which makes it one for every reader of Turtle, and no more digits than bring it back.
std::string number(float value)
{
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed);
    std::string made(text, end.ptr);
    if (made.find('.') == std::string::npos)
        made += ".0";
    return made;
}

/// The parameter's value with as few digits as give its normalised value.
float plainest(const core::ParamRecord& parameter)
{
    const float normal = parameter.normal;
    const float exact = parameter.value;
    for (int digits = 1; digits <= 8; ++digits) {
        char text[64];
        const auto end = std::to_chars(text, text + sizeof text, exact, std::chars_format::general, digits);
        float value = 0.0F;
        std::from_chars(text, end.ptr, value);
        if (core::valueToNormal(value, parameter.min, parameter.max, parameter.scale) == normal)
            return value;
    }
    return exact;
}

std::string quoted(std::string_view text)
{
    std::string made = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            made += '\\';
        made += c;
    }
    return made + '"';
}

/// Letters and digits of a name in lower case, words joined by "-".
std::string slug(std::string_view name)
{
    std::string made;
    for (const char c : name) {
        const bool isUpper = c >= 'A' && c <= 'Z';
        if (isUpper || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            made += isUpper ? static_cast<char>(c - 'A' + 'a') : c;
        else if (!made.empty() && made.back() != '-')
            made += '-';
    }
    return made;
}

std::string base64(std::string_view bytes)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string made;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::uint32_t group = 0;
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        for (std::size_t i = 0; i < 3; ++i)
            group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            made += i <= count ? kDigits[group >> (18U - 6U * static_cast<unsigned>(i)) & 63U] : '=';
    }
    return made;
}

const core::ParamRecord& record(std::int32_t tag)
{
    return core::factoryParameters()[static_cast<std::size_t>(tag)];
}

std::string_view uriOf(std::size_t channels)
{
    return channels == 1 ? kMonoUri : kStereoUri;
}

/// What an audio group's name begins with: each plug-in has its own.
std::string_view groupStem(std::size_t channels)
{
    return channels == 1 ? "sorvane:mono" : "sorvane:stereo";
}

std::string_view parameterGroup(std::int32_t tag)
{
    if (tag >= core::kIpTrim && tag < core::kIpTrimB)
        return "sorvane:firstChannel";
    return tag >= core::kIpTrimB && tag < core::kLinked ? "sorvane:secondChannel" : "sorvane:global";
}

/// The unit as Turtle; empty for a bare number.
std::string_view unitOf(const core::ParamRecord& parameter)
{
    const std::string_view unit = parameter.unit.data();
    if (parameter.scale == ScaleType::slope || parameter.scale == ScaleType::octaveSlope)
        return "sorvane:decibelsPerOctave";
    if (parameter.scale == ScaleType::fourthPower) // shown in decibels, but a linear gain
        return "units:coef";
    return unit == "dB"   ? "units:db"
           : unit == "ms" ? "units:ms"
           : unit == "Hz" ? "units:hz"
           : unit == "%"  ? "units:pc"
                          : "";
}

/// Steps between which nothing lies; 0 for a continuous parameter.
float stepOf(const core::ParamRecord& parameter)
{
    switch (parameter.scale) {
    case ScaleType::enumeration:
    case ScaleType::wholeNumber:
    case ScaleType::powerOfTwo:
        return 1.0F;
    case ScaleType::slope:
        return 6.0F;
    case ScaleType::octaveSlope:
        return 12.0F;
    default:
        return 0.0F;
    }
}

struct Range {
    float rest; ///< default
    float low;
    float high;
};

/// What a host reads of a port.
struct Description {
    std::string_view types;
    std::string symbol;
    std::string name;
    std::optional<Range> range;
    std::string properties; ///< Turtle
};

constexpr float kMostLatency = 262144.0F; ///< samples, at the highest rate with all that delays

constexpr std::string_view kChannelNumbers[] = {"1", "2"};

constexpr std::string_view kControlInput = "lv2:InputPort , lv2:ControlPort";
constexpr std::string_view kControlOutput = "lv2:OutputPort , lv2:ControlPort";

Description describeMeter(std::size_t channels, const Port& port)
{
    const bool isLevel = port.role == PortRole::level;
    const std::string_view number = kChannelNumbers[port.number];
    std::string name = isLevel ? "Level" : "Gain Reduction";
    if (channels == 2)
        name.append(" ").append(number);
    return {kControlOutput, std::string(isLevel ? "level" : "gainReduction").append(number), name,
            isLevel ? Range{kLowestLevelDb, kLowestLevelDb, kHighestLevelDb}
                    : Range{0.0F, -kMostReductionDb, kMostReductionDb},
            "units:unit units:db"};
}

Description describeAudio(std::size_t channels, const Port& port)
{
    const bool isOutput = port.role == PortRole::output;
    const bool isSideChain = port.role == PortRole::sideChain;
    Description made{isOutput ? "lv2:OutputPort , lv2:AudioPort" : "lv2:InputPort , lv2:AudioPort",
                     std::string(isOutput      ? "out"
                                 : isSideChain ? "sideChain"
                                               : "in"),
                     isOutput      ? "Out"
                     : isSideChain ? "Side-chain"
                                   : "In",
                     {},
                     isSideChain ? "lv2:portProperty lv2:isSideChain , lv2:connectionOptional ; " : ""};
    made.symbol += kChannelNumbers[port.number];
    made.properties.append("pg:group ")
        .append(groupStem(channels))
        .append(isOutput      ? "Out"
                : isSideChain ? "SideChain"
                              : "In")
        .append(" ; lv2:designation ");
    if (channels == 2)
        made.name += port.number == 0 ? " Left" : " Right";
    made.properties += channels == 1 ? "pg:center" : port.number == 0 ? "pg:left" : "pg:right";
    return made;
}

/// What hosts show in place of the numbers of a parameter that has steps or named values.
std::string scalePoints(std::int32_t tag)
{
    const core::ParamRecord& parameter = record(tag);
    const auto names = core::valueNames(tag);
    const float step = std::max(stepOf(parameter), 1.0F);
    const auto steps = static_cast<std::size_t>((parameter.max - parameter.min) / step);
    std::string made = "lv2:scalePoint";
    for (std::size_t i = 0; i <= steps; ++i) {
        const float value = parameter.min + static_cast<float>(i) * step;
        const core::FixedText text = core::parameterText(tag, value, parameter, false);
        made += i == 0 ? "\n            " : " ,\n            ";
        made += "[ rdfs:label " + quoted(i < names.size() ? names[i] : text.view()) + " ; rdf:value " + number(value) +
                " ]";
    }
    return made + " ; ";
}

Description describeParameter(std::int32_t tag)
{
    const core::ParamRecord& parameter = record(tag);
    Description made{kControlInput, std::string(core::TagTable::instance().name(tag)), parameter.name.data(),
                     Range{parameter.value, parameter.min, parameter.max}, ""};
    const bool isStepped = stepOf(parameter) > 0.0F;
    if (parameter.scale == ScaleType::onOff)
        made.properties = "lv2:portProperty lv2:toggled ; ";
    else if (parameter.scale == ScaleType::exponential)
        made.properties = "lv2:portProperty pprops:logarithmic ; ";
    else if (isStepped)
        made.properties = "lv2:portProperty lv2:integer , lv2:enumeration ; ";
    if (isStepped || !core::valueNames(tag).empty())
        made.properties += scalePoints(tag);
    if (const std::string_view unit = unitOf(parameter); !unit.empty())
        made.properties.append("units:unit ").append(unit).append(" ; ");
    made.properties.append("pg:group ").append(parameterGroup(tag));
    return made;
}

Description describe(std::size_t channels, const Port& port)
{
    constexpr Range kOff{0.0F, 0.0F, 1.0F};
    constexpr Range kOn{1.0F, 0.0F, 1.0F};
    switch (port.role) {
    case PortRole::parameter:
        return describeParameter(port.number);
    case PortRole::enabled:
        return {kControlInput, "enabled", "Enabled", kOn,
                "lv2:portProperty lv2:toggled ; lv2:designation lv2:enabled ; pg:group sorvane:global"};
    case PortRole::freeWheeling:
        return {kControlInput, "freeWheeling", "Free-wheeling", kOff,
                "lv2:portProperty lv2:toggled , pprops:notOnGUI ; lv2:designation lv2:freeWheeling"};
    case PortRole::latency:
        return {kControlOutput, "latency", "Latency", Range{0.0F, 0.0F, kMostLatency},
                "lv2:portProperty lv2:reportsLatency , lv2:integer , pprops:notOnGUI ; "
                "lv2:designation lv2:latency ; units:unit units:frame"};
    case PortRole::midi:
        return {"lv2:InputPort , atom:AtomPort",
                "midiIn",
                "MIDI In",
                {},
                "atom:bufferType atom:Sequence ; atom:supports midi:MidiEvent ; lv2:designation lv2:control ; "
                "lv2:portProperty lv2:connectionOptional"};
    case PortRole::level:
    case PortRole::reduction:
        return describeMeter(channels, port);
    default:
        return describeAudio(channels, port);
    }
}

void writePort(std::ostream& out, std::size_t channels, std::size_t index, const Port& port)
{
    const Description description = describe(channels, port);
    out << "    lv2:port [\n        a " << description.types << " ;\n        lv2:index " << index
        << " ;\n        lv2:symbol " << quoted(description.symbol) << " ;\n        lv2:name "
        << quoted(description.name) << " ;\n";
    if (const auto& range = description.range)
        out << "        lv2:default " << number(range->rest) << " ;\n        lv2:minimum " << number(range->low)
            << " ;\n        lv2:maximum " << number(range->high) << " ;\n";
    out << "        " << description.properties << "\n    ] ;\n";
}

} // namespace

Lv2Bundle::Lv2Bundle(const std::string& share, std::string versionText)
    : version(std::move(versionText)), plug(std::make_unique<core::Plug>(nullptr, core::Plug::Start::factoryValues))
{
    addPreset(share + "/Factory Bank.bnk", {}, "Factory Bank");
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(share + "/Presets"))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto& file : files)
        addPreset(file.string(), file.parent_path().filename().string(), file.stem().string());
}

void Lv2Bundle::addPreset(const std::string& path, const std::string& folder, const std::string& name)
{
    auto chunk = platform::readFile(path, host::kMostChunkBytes);
    if (!chunk)
        throw std::runtime_error(path + ": can't be read");
    if (!host::isChunk(*chunk))
        throw std::runtime_error(path + ": isn't a preset or bank; save it anew");
    const std::string stem = (folder.empty() ? "" : slug(folder) + "-") + slug(name);
    const std::string uri = "urn:kestrune:sorvane:preset:" + stem;
    const auto other =
        std::find_if(presets.begin(), presets.end(), [&](const Preset& made) { return made.uri == uri; });
    if (other != presets.end())
        throw std::runtime_error(path + ": makes the URI of " + other->folder + '/' + other->name + ", " + uri +
                                 "; rename one of them");
    presets.push_back({uri, name, folder, "presets/" + stem + ".ttl", std::move(*chunk)});
}

void Lv2Bundle::writeManifest(std::ostream& out, std::string_view binary) const
{
    out << kPrefixes;
    for (const std::size_t channels : {2U, 1U})
        out << '<' << uriOf(channels) << ">\n    a lv2:Plugin ;\n    lv2:binary <" << binary
            << "> ;\n    rdfs:seeAlso <sorvane.ttl> .\n\n";
    for (const Preset& preset : presets)
        out << '<' << preset.uri << ">\n    a pset:Preset ;\n    lv2:appliesTo <" << kStereoUri << "> , <" << kMonoUri
            << "> ;\n    rdfs:label " << quoted(preset.name) << " ;\n    rdfs:seeAlso <" << preset.file << "> .\n\n";
}

void Lv2Bundle::writePlugins(std::ostream& out) const
{
    out << kPrefixes;
    for (const std::string_view uri : {kChunkUri, kPortsUri, kPresetUri, kFactoryBankUri})
        out << '<' << uri
            << ">\n    a rdf:Property , owl:DatatypeProperty ;\n    rdfs:label \"state\" ;\n    rdfs:comment \"State "
               "of the effect.\" ;\n    rdfs:range "
            << (uri == kPortsUri ? "xsd:string" : "xsd:base64Binary") << " .\n\n";
    out << "sorvane:decibelsPerOctave\n    a units:Unit ;\n    rdfs:label \"decibels per octave\" ;\n"
           "    units:symbol \"dB/oct\" ;\n"
           "    units:render \"%.0f dB/oct\" .\n\n";
    for (const auto& [symbol, name] : {std::pair{"firstChannel", "First Channel"},
                                       std::pair{"secondChannel", "Second Channel"}, std::pair{"global", "Global"}})
        out << "sorvane:" << symbol << "\n    a pg:Group ;\n    lv2:symbol \"" << symbol << "\" ;\n    lv2:name \""
            << name << "\" .\n\n";
    out << "sorvane:project\n    a doap:Project ;\n    doap:name \"Sorvane\" ;\n"
           "    doap:maintainer [ a foaf:Agent ; foaf:name \"Kestrune\" ] .\n\n";
    for (const std::size_t channels : {2U, 1U})
        writePlugin(out, channels);
}

void Lv2Bundle::writePlugin(std::ostream& out, std::size_t channels) const
{
    const std::string_view stem = groupStem(channels);
    const std::string_view kind = channels == 1 ? "pg:MonoGroup" : "pg:StereoGroup";
    const auto writeGroup = [&](std::string_view end, std::string_view direction, std::string_view symbol,
                                std::string_view name, const std::string& relation) {
        out << stem << end << "\n    a " << kind << " , " << direction << " ;\n"
            << relation << "    lv2:symbol \"" << symbol << "\" ;\n    lv2:name \"" << name << "\" .\n\n";
    };
    const std::string main = std::string(stem) + "In";
    writeGroup("In", "pg:InputGroup", "in", "In", {});
    writeGroup("SideChain", "pg:InputGroup", "sideChain", "Side-chain", "    pg:sideChainOf " + main + " ;\n");
    writeGroup("Out", "pg:OutputGroup", "out", "Out", "    pg:source " + main + " ;\n");

    const std::size_t dot = version.find('.') + 1;
    const std::size_t secondDot = version.find('.', dot);
    out << '<' << uriOf(channels) << ">\n    a lv2:Plugin , lv2:DynamicsPlugin ;\n    doap:name "
        << (channels == 1 ? "\"Sorvane Mono\"" : "\"Sorvane\"")
        << " ;\n    lv2:project sorvane:project ;\n"
           "    rdfs:comment \"Band-split dynamics processor for taming sibilance.\" ;\n    lv2:minorVersion "
        << version.substr(dot, secondDot - dot) << " ;\n    lv2:microVersion " << version.substr(secondDot + 1)
        << " ;\n    lv2:optionalFeature lv2:hardRTCapable , urid:map , opts:options , bufsz:boundedBlockLength ,\n"
           "        state:loadDefaultState , state:threadSafeRestore ;\n"
           "    lv2:extensionData state:interface , opts:interface ;\n    opts:supportedOption bufsz:maxBlockLength ;\n"
           "    pg:mainInput "
        << stem << "In ;\n    pg:mainOutput " << stem << "Out ;\n";
    const auto ports = portsOf(channels);
    for (std::size_t index = 0; index < ports.size(); ++index)
        writePort(out, channels, index, ports[index]);
    out << "    state:state [\n        <" << kFactoryBankUri << "> \"" << base64(presets.front().chunk)
        << "\"^^xsd:base64Binary\n    ] .\n\n";
}

/// Port values for every host, and what they can't hold as state: the name, and the banks of the factory bank.
void Lv2Bundle::writePreset(std::ostream& out, const Preset& preset)
{
    const bool isPreset = !preset.folder.empty();
    (void)plug->setChunk(preset.chunk.data(), static_cast<std::int32_t>(preset.chunk.size()), isPreset);
    const std::string bank = "urn:kestrune:sorvane:presets:" + slug(preset.folder);
    out << kPrefixes;
    if (isPreset)
        out << '<' << bank << ">\n    a pset:Bank ;\n    rdfs:label " << quoted(preset.folder) << " .\n\n";
    out << '<' << preset.uri << ">\n    a pset:Preset ;\n    lv2:appliesTo <" << kStereoUri << "> , <" << kMonoUri
        << "> ;\n    rdfs:label " << quoted(preset.name) << " ;\n";
    if (isPreset)
        out << "    pset:bank <" << bank << "> ;\n";
    for (const Port& port : portsOf(2).first(kParameterPorts)) {
        core::ParamRecord parameter = record(port.number);
        parameter.value = plug->getParameterValue(port.number);
        parameter.normal = plug->getParameter(port.number);
        const float value = plainest(parameter);
        const bool isEnabled = port.role == PortRole::enabled;
        out << "    lv2:port [ lv2:symbol \"" << (isEnabled ? "enabled" : core::TagTable::instance().name(port.number))
            << "\" ; pset:value " << number(isEnabled ? 1.0F - value : value) << " ] ;\n";
    }
    out << "    state:state [ <" << (isPreset ? kPresetUri : kChunkUri) << "> \"" << base64(preset.chunk)
        << "\"^^xsd:base64Binary ] .\n";
}

} // namespace sorvane::lv2
