#include "StateFile.h"

#include "Files.h"
#include "JSONTree.h"
#include "OfflineHost.h"
#include "OutputFile.h"
#include "ParameterText.h"
#include "TagTable.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string_view>
#include <system_error>

namespace sorvane::tools {

namespace {

struct StateText {
    std::size_t fileBytes;
    bool deflated;
    std::string text;
    host::JSONTree tree; ///< an object that holds parameters
};

StateText readState(const std::string& path)
{
    const auto bytes = platform::readFile(path, host::kMostChunkBytes);
    if (!bytes)
        throw Failure(ExitCode::input, path + ": can't be read (" + std::generic_category().message(errno) + ')');
    StateText state{bytes->size(), bytes->starts_with("ZIP "), host::inflateChunk(*bytes), nullptr};
    state.tree = host::parseJSON(state.text);
    if (!cJSON_HasObjectItem(state.tree.get(), "parameters") &&
        !cJSON_IsArray(cJSON_GetObjectItem(state.tree.get(), "presets")))
        throw Failure(ExitCode::input, path + ": holds no state of this effect");
    state.text.resize(std::strlen(state.text.c_str())); // the text ends at its 0
    return state;
}

/// Text of a file, quoted and escaped, so that it can't move the terminal's cursor.
std::string quoted(const char* text)
{
    const host::JSONTree item(cJSON_CreateString(text));
    std::string shown = host::printJSON(*item, false);
    for (std::size_t i = 0; i < shown.size(); ++i) { // what the printer leaves: DEL, and U+0080 to U+009F
        if (shown[i] == '\x7F')
            shown[i] = '?';
        else if (shown[i] == '\xC2' && static_cast<unsigned char>(shown[i + 1]) < 0xA0)
            shown.replace(i, 2, "?");
    }
    return shown;
}

std::string nameIn(const cJSON* object)
{
    const char* const name = host::textMember(object, "name");
    return name != nullptr ? quoted(name) : "no name";
}

/// What a program or bank sets, by tag; what it doesn't name is at its factory value.
std::map<std::int32_t, double> valuesIn(const cJSON* object)
{
    std::map<std::int32_t, double> values;
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(
        member,
        cJSON_GetObjectItem(object, "parameters")) if (const auto tag =
                                                           member->string != nullptr
                                                               ? core::TagTable::instance().parameter(member->string)
                                                               : std::nullopt) values[*tag] = member->valuedouble;
    return values;
}

/// One program or bank: a line for each parameter that it names.
void showParameters(const cJSON* object, core::Plug& plug, std::ostream& out)
{
    const cJSON* const parameters = cJSON_GetObjectItem(object, "parameters");
    if (!cJSON_IsObject(parameters) || parameters->child == nullptr) {
        out << "  all at their factory values\n";
        return;
    }
    const auto values = valuesIn(object);
    for (const std::int32_t tag : {core::kExcite, core::kExciteB}) { // decides how a ratio reads
        const auto upward = values.find(tag);
        plug.setParameter(tag, upward != values.end() ? static_cast<float>(upward->second) : 0.0F);
    }
    for (const cJSON* member = parameters->child; member != nullptr; member = member->next) {
        const auto tag = core::TagTable::instance().parameter(member->string);
        if (!tag) {
            out << "  " << quoted(member->string) << "  unknown, passed over when loaded\n";
            continue;
        }
        char text[core::kParameterTextBytes] = {};
        plug.formatParameter(*tag, static_cast<float>(member->valuedouble), text, 0);
        out << "  " << member->string << "  " << text << '\n';
    }
}

void showMembers(const cJSON* object, const std::string& indent, std::ostream& out)
{
    for (const cJSON* member = object != nullptr ? object->child : nullptr; member != nullptr; member = member->next) {
        const cJSON* const value = cJSON_GetObjectItem(member, "value");
        out << indent << (member->string != nullptr ? quoted(member->string) : "-") << "  ";
        if (cJSON_IsObject(member) && value == nullptr) {
            out << '\n';
            showMembers(member, indent + "  ", out);
        } else {
            out << host::printJSON(value != nullptr ? *value : *member, false) << '\n';
        }
    }
}

/// The A/B banks, those with the same values as the program or the bank before in one line.
void showBanks(const cJSON* program, const cJSON* banks, core::Plug& plug, std::ostream& out)
{
    int number = 0;
    const cJSON* before = program;
    for (const cJSON* bank = banks != nullptr ? banks->child : nullptr; bank != nullptr; bank = bank->next) {
        out << "bank " << ++number << ": ";
        if (valuesIn(bank) == valuesIn(before)) {
            out << (before == program ? "as the program\n" : "as the one before\n");
        } else {
            out << '\n';
            showParameters(bank, plug, out);
            before = bank;
        }
    }
}

} // namespace

void loadState(core::Plug& plug, const std::string& path)
{
    const std::string text = readState(path).text;
    plug.setChunk(text.data(), static_cast<std::int32_t>(text.size()), false);
}

void showState(const std::string& path, bool json, std::ostream& out)
{
    const StateText state = readState(path);
    if (json) {
        out << state.text << (state.text.ends_with('\n') ? "" : "\n");
        return;
    }
    const auto plug = std::make_unique<core::Plug>(&offlineHost, core::Plug::Start::factoryValues); // for its texts
    const cJSON* const root = state.tree.get();
    const cJSON* const presets = cJSON_GetObjectItem(root, "presets");
    const cJSON* const program = presets != nullptr ? presets->child : root;
    out << path << ": " << (presets != nullptr ? "bank" : "preset") << ", ";
    if (state.deflated)
        out << state.fileBytes << " bytes deflated from " << state.text.size() << '\n';
    else
        out << state.fileBytes << " bytes of text\n";
    out << "program: " << nameIn(program) << '\n';
    showParameters(program, *plug, out);
    showBanks(program, cJSON_GetObjectItem(root, "ab"), *plug, out);
    for (const char* const key : {"settings", "uiprefs"})
        if (const cJSON* const member = cJSON_GetObjectItem(root, key)) {
            out << key << ":\n";
            showMembers(member, "  ", out);
        }
}

void makeState(const StateOptions& options)
{
    for (const ParameterSetting& setting : options.settings)
        if (setting.tag == core::kABBank)
            throw Failure(ExitCode::usage, "kABBank: all eight banks of the file will hold the settings");
    const auto plug = std::make_unique<core::Plug>(&offlineHost, core::Plug::Start::factoryValues);
    apply(options.settings, *plug);
    for (std::int32_t bank = 0; bank < host::PlugBase::kNumBanks; ++bank)
        plug->copyCurrentToBank(bank);
    const std::string name =
        options.presetName.empty() ? std::filesystem::path(options.output).stem().string() : options.presetName;
    plug->setProgramName(name.c_str());

    // Without the state of an editor, so that whoever loads it keeps a window and displays as they are.
    const host::JSONTree root = host::parseJSON(host::inflateChunk(plug->copyChunk(false)));
    for (const char* const key : {"settings", "uiprefs"})
        cJSON_DeleteItemFromObject(root.get(), key);
    std::string text = host::printJSON(*root, true);
    writeFile(options.output, options.plain ? text + '\n' : host::deflateChunk(std::move(text), 9));
}

} // namespace sorvane::tools
