#include "Scenario.h"

#include <Codec2InfoService.h>
#include <DefaultScenario.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

namespace sim {
namespace {

using nlohmann::json;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;

// "streams[0].stream" and "width" make "streams[0].stream.width"; the top
// level has no path of its own.
std::string join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw ScenarioError(path + ": " + reason);
}

[[noreturn]] void fail(const std::string& path, const std::string& expected) {
    refuse(path, "expected " + expected);
}

// Every key of an object must be one of `known`.
void checkKeys(const json& object, const std::string& path,
               std::initializer_list<const char*> known) {
    std::string list;
    for (const char* key : known) list += (list.empty() ? "" : ", ") + std::string(key);
    for (const auto& [key, value] : object.items()) {
        bool isKnown = std::any_of(known.begin(), known.end(),
                                   [&, &name = key](const char* k) { return name == k; });
        if (!isKnown) refuse(join(path, key), "unknown key (known here: " + list + ")");
    }
}

const json& requireObject(const json& value, const std::string& path) {
    if (!value.is_object()) fail(path, "an object");
    return value;
}

const json& requireArray(const json& value, const std::string& path) {
    if (!value.is_array()) fail(path, "an array");
    return value;
}

std::string requireString(const json& value, const std::string& path) {
    if (!value.is_string()) fail(path, "a string");
    return value.get<std::string>();
}

const json& required(const json& object, const char* key, const std::string& path) {
    auto found = object.find(key);
    if (found == object.end()) refuse(join(path, key), "missing (it is required)");
    return *found;
}

template <typename T>
T integer(const json& value, const std::string& path, T low = std::numeric_limits<T>::min(),
          T high = std::numeric_limits<T>::max()) {
    bool fits = false;
    if (value.is_number_unsigned()) {
        auto v = value.get<uint64_t>();
        fits = v <= static_cast<uint64_t>(high) && (low <= 0 || v >= static_cast<uint64_t>(low));
    } else if (value.is_number_integer()) {
        auto v = value.get<int64_t>();
        fits = v >= static_cast<int64_t>(low) &&
               (v < 0 || static_cast<uint64_t>(v) <= static_cast<uint64_t>(high));
    }
    if (!fits) {
        fail(path, "an integer from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return value.is_number_unsigned() ? static_cast<T>(value.get<uint64_t>())
                                      : static_cast<T>(value.get<int64_t>());
}

double number(const json& value, const std::string& path, double low, double high) {
    if (!value.is_number() || !(value.get<double>() >= low && value.get<double>() <= high)) {
        std::ostringstream range;
        range << "a number from " << low << " to " << high;
        fail(path, range.str());
    }
    return value.get<double>();
}

std::string at(const std::string& path, size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

// A numeric field of the stream record as a scenario gives it: the
// component makes its frames of the record's size, which must be even, and
// fills in the fields that describe them.
uint64_t streamValue(const StreamField& field, const json& value, const std::string& path) {
    if (field.fromFrame != nullptr) {
        refuse(path, "cannot be set: the simulated component fills it from its frames");
    }
    if (field.is(&ST_STREAM_LIST::width) || field.is(&ST_STREAM_LIST::height)) {
        auto size = integer<uint32_t>(value, path, 2, 8192);
        if (size % 2 != 0) fail(path, "an even integer from 2 to 8192");
        return size;
    }
    return std::visit(
            [&](auto member) -> uint64_t {
                using Value = std::remove_reference_t<decltype(ST_STREAM_LIST{}.*member)>;
                return static_cast<uint64_t>(integer<Value>(value, path));
            },
            field.member);
}

ST_STREAM_LIST parseStreamRecord(const json& object, const std::string& path) {
    requireObject(object, path);
    ST_STREAM_LIST stream{};
    stream.width = 1920;
    stream.height = 1080;
    required(object, "streamid", path);
    for (const auto& [key, value] : object.items()) {
        std::string keyPath = join(path, key);
        if (key == "info") {
            stream.info = requireString(value, keyPath);
            continue;
        }
        const StreamField* field = findStreamField(key);
        if (field == nullptr)
            refuse(keyPath, "unknown key (the keys are the fields of ST_STREAM_LIST)");
        assign(&stream, *field, streamValue(*field, value, keyPath));
    }
    return stream;
}

void applyDebug(const json& object, const std::string& path, _DebugDescription* description) {
    requireObject(object, path);
    for (const auto& [key, value] : object.items()) {
        std::string keyPath = join(path, key);
        const DebugField* field = findDebugField(key);
        if (field == nullptr)
            refuse(keyPath, "unknown key (the keys are the members of _DebugDescription)");
        std::visit(
                [&, &json = value](auto member) {
                    using Value = std::remove_reference_t<decltype(description->*member)>;
                    if constexpr (std::is_same_v<Value, std::string>) {
                        description->*member = requireString(json, keyPath);
                    } else {
                        description->*member = integer<Value>(json, keyPath);
                    }
                },
                field->member);
    }
}

std::vector<CounterRate> parseRates(const json& object, const std::string& path) {
    requireObject(object, path);
    std::vector<CounterRate> rates;
    for (const auto& [key, value] : object.items()) {
        std::string keyPath = join(path, key);
        const DebugField* field = findDebugField(key);
        if (field == nullptr ||
            std::holds_alternative<std::string _DebugDescription::*>(field->member)) {
            refuse(keyPath, "unknown key (the keys are the numeric members of _DebugDescription)");
        }
        // A counter advances by at most its own range in a second.
        double highest = std::visit(
                [](auto member) {
                    using Value = std::remove_reference_t<decltype(_DebugDescription().*member)>;
                    if constexpr (std::is_arithmetic_v<Value>) {
                        return std::min(1e6,
                                        static_cast<double>(std::numeric_limits<Value>::max()));
                    }
                    return 0.0;
                },
                field->member);
        rates.push_back({field, number(value, keyPath, 0, highest)});
    }
    return rates;
}

ScheduledEvent parseEvent(const json& object, const std::string& path) {
    requireObject(object, path);
    checkKeys(object, path, {"atMs", "event", "update"});
    ScheduledEvent scheduled{};
    scheduled.atMs =
            integer<uint32_t>(required(object, "atMs", path), join(path, "atMs"), 0, 3600000);
    std::string name = requireString(required(object, "event", path), join(path, "event"));
    scheduled.event = Codec2InfoService::getInstance()->stringToEvent(name);
    if (scheduled.event == NotifyEvent::NONE) {
        fail(join(path, "event"), "an event name such as \"resolution_change\" (see the README)");
    }
    auto update = object.find("update");
    if (update == object.end()) return scheduled;
    requireObject(*update, join(path, "update"));
    for (const auto& [key, value] : update->items()) {
        std::string keyPath = join(path, "update." + key);
        const StreamField* field = findStreamField(key);
        if (field == nullptr || field->is(&ST_STREAM_LIST::streamid)) {
            refuse(keyPath, "unknown key (the keys are the fields of ST_STREAM_LIST but streamid)");
        }
        scheduled.updates.emplace_back(field, streamValue(*field, value, keyPath));
    }
    return scheduled;
}

std::map<std::string, CmtInfoStruct> parseInfo(const json& object, const std::string& path) {
    requireObject(object, path);
    std::map<std::string, CmtInfoStruct> info;
    for (const auto& [key, value] : object.items()) {
        CmtInfoStruct item{};
        if (value.is_string()) {
            item.strValue = value.get<std::string>();
        } else if (value.is_number()) {
            item.intValue = integer<int32_t>(value, join(path, key));
        } else {
            fail(join(path, key), "a string or an integer");
        }
        info[key] = item;
    }
    return info;
}

StreamScenario parseStream(const json& object, const std::string& path) {
    requireObject(object, path);
    checkKeys(object, path,
              {"stream", "component", "debug", "perSecond", "snapshots", "events", "info"});
    StreamScenario scenario{};
    scenario.stream = parseStreamRecord(required(object, "stream", path), join(path, "stream"));
    scenario.component =
            requireString(required(object, "component", path), join(path, "component"));
    const std::string& name = scenario.component;
    if (name.empty() || std::any_of(name.begin(), name.end(), ::isspace)) {
        fail(join(path, "component"), "a name without spaces (it is the word of its debug target)");
    }

    scenario.debug.component = scenario.component;
    scenario.debug.width = static_cast<int32_t>(scenario.stream.width);
    scenario.debug.height = static_cast<int32_t>(scenario.stream.height);
    scenario.debug.hwSyncId = static_cast<int32_t>(scenario.stream.hwSyncId);
    scenario.debug.frameRate = scenario.stream.framerate * 1000;
    if (scenario.stream.framerate != 0) {
        scenario.debug.frameInterval = 1000000 / scenario.stream.framerate;
    }
    if (auto debug = object.find("debug"); debug != object.end()) {
        applyDebug(*debug, join(path, "debug"), &scenario.debug);
    }
    if (auto rates = object.find("perSecond"); rates != object.end()) {
        scenario.rates = parseRates(*rates, join(path, "perSecond"));
    }
    if (auto snapshots = object.find("snapshots"); snapshots != object.end()) {
        std::string snapshotsPath = join(path, "snapshots");
        if (!scenario.rates.empty()) {
            refuse(snapshotsPath, "not allowed with perSecond: snapshots give every count");
        }
        requireArray(*snapshots, snapshotsPath);
        for (size_t i = 0; i < snapshots->size(); ++i) {
            scenario.snapshots.push_back(scenario.debug);
            applyDebug((*snapshots)[i], at(snapshotsPath, i), &scenario.snapshots.back());
        }
    }
    if (auto events = object.find("events"); events != object.end()) {
        requireArray(*events, join(path, "events"));
        for (size_t i = 0; i < events->size(); ++i) {
            scenario.events.push_back(parseEvent((*events)[i], at(join(path, "events"), i)));
        }
        std::stable_sort(scenario.events.begin(), scenario.events.end(),
                         [](const auto& a, const auto& b) { return a.atMs < b.atMs; });
    }
    if (auto info = object.find("info"); info != object.end()) {
        scenario.info = parseInfo(*info, join(path, "info"));
    }
    return scenario;
}

// Stream ids key the registry; component names are debug words.
void checkUnique(const std::vector<StreamScenario>& streams) {
    for (size_t i = 0; i < streams.size(); ++i) {
        for (size_t j = 0; j < i; ++j) {
            if (streams[i].stream.streamid == streams[j].stream.streamid) {
                fail(at("streams", i) + ".stream.streamid",
                     "an id that " + at("streams", j) + " does not use already");
            }
            if (strcasecmp(streams[i].component.c_str(), streams[j].component.c_str()) == 0) {
                fail(at("streams", i) + ".component",
                     "a name that " + at("streams", j) + " does not use already");
            }
        }
    }
}

}  // namespace

Scenario parseScenario(const std::string& text) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::exception& error) {
        std::string what = error.what();
        // Drop the library's "[json.exception.parse_error.101] " tag.
        throw ScenarioError("not JSON: " + what.substr(what.find("] ") + 2));
    }
    requireObject(document, "the document");
    checkKeys(document, "", {"name", "seconds", "streams"});
    Scenario scenario;
    scenario.name = requireString(required(document, "name", ""), "name");
    scenario.seconds = number(required(document, "seconds", ""), "seconds", 0.1, 3600);
    const json& streams = requireArray(required(document, "streams", ""), "streams");
    if (streams.empty()) fail("streams", "at least one stream");
    for (size_t i = 0; i < streams.size(); ++i) {
        scenario.streams.push_back(parseStream(streams[i], at("streams", i)));
    }
    checkUnique(scenario.streams);
    return scenario;
}

Scenario readScenarioFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw ScenarioError(path + ": cannot be read: " + strerror(errno));
    std::stringstream text;
    text << file.rdbuf();
    try {
        return parseScenario(text.str());
    } catch (const ScenarioError& error) {
        throw ScenarioError(path + ": " + error.what());
    }
}

Scenario defaultScenario() {
    return parseScenario(kDefaultScenario);
}

}  // namespace sim
