#include "Bugreport.h"

#include <DumpLayout.h>
#include <zip.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace sim {
namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::kServiceEntry;

constexpr const char* kFormatVersion = "2.0";

constexpr const char* kOtherHalEntry =
        "lshal-debug/android.hardware.health@2.1::IHealth_default.txt";

// A fingerprint's fields, split at '/': the build id is the fourth, the
// device leads the third.
std::vector<std::string> fingerprintFields(const std::string& fingerprint) {
    std::vector<std::string> fields;
    for (size_t begin = 0;;) {
        size_t end = fingerprint.find('/', begin);
        fields.push_back(fingerprint.substr(begin, end - begin));
        if (end == std::string::npos) return fields;
        begin = end + 1;
    }
}

std::string buildId(const std::string& fingerprint) {
    std::vector<std::string> fields = fingerprintFields(fingerprint);
    return fields.size() > 3 ? fields[3] : "unknown";
}

// bugreport-<device>-<build id>-<YYYY-MM-DD-HH-MM-SS>.txt, as dumpstate
// names it.
std::string mainEntryName(const BugreportHeader& header) {
    std::vector<std::string> fields = fingerprintFields(header.fingerprint);
    std::string device = fields.size() > 2 ? fields[2].substr(0, fields[2].find(':')) : "unknown";
    std::string time = header.takenAt;
    std::replace(time.begin(), time.end(), ' ', '-');
    std::replace(time.begin(), time.end(), ':', '-');
    return "bugreport-" + device + "-" + buildId(header.fingerprint) + "-" + time + ".txt";
}

// dumpstate's header, then log lines of a busy TV: repetitive enough to
// compress as logcat does, varied enough not to vanish.
std::string mainText(const BugreportHeader& header, size_t bytes) {
    static const char* const kTags[] = {"ActivityManager", "MediaCodec", "SurfaceFlinger",
                                        "AudioFlinger",    "tvinput",    "WifiService"};
    static const char* const kWords[] = {"start",  "stop",   "queue",   "buffer", "frame",
                                         "render", "signal", "timeout", "resume", "config"};
    const std::string banner(56, '=');
    std::string text = banner + "\n== dumpstate: " + header.takenAt + "\n" + banner + "\n\n";
    text += "Build: " + buildId(header.fingerprint) + "\n";
    text += "Build fingerprint: '" + header.fingerprint + "'\n";
    text += std::string("Bootloader: unknown\nBugreport format version: ") + kFormatVersion +
            "\n\n";
    text += "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n";
    std::mt19937 random(7);
    char line[160];
    while (text.size() < bytes) {
        unsigned n = random();
        snprintf(line, sizeof(line), "11-23 %02u:%02u:%02u.%03u %5u %5u I %s: %s %s %u\n", n % 24,
                 n / 24 % 60, n / 1440 % 60, n % 1000, 1000 + n % 4000, 1000 + n / 7 % 4000,
                 kTags[n % 6], kWords[n / 3 % 10], kWords[n / 11 % 10], n % 100000);
        text += line;
    }
    return text;
}

bool addEntry(zip_t* archive, const char* name, std::string&& content, std::string* keep) {
    *keep = std::move(content);
    zip_source_t* source = zip_source_buffer(archive, keep->data(), keep->size(), 0);
    if (source == nullptr) return false;
    if (zip_file_add(archive, name, source, ZIP_FL_ENC_UTF_8) < 0) {
        zip_source_free(source);
        return false;
    }
    return true;
}

}  // namespace

bool writeBugreport(const std::string& path, const std::string& serviceDump,
                    const BugreportHeader& header, size_t mainTextBytes, std::string* error) {
    int code = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    if (archive == nullptr) {
        zip_error_t reason;
        zip_error_init_with_code(&reason, code);
        *error = path + ": " + zip_error_strerror(&reason);
        zip_error_fini(&reason);
        return false;
    }
    // The sources read their buffers when the archive is closed.
    std::string version, mainName, main, other, service;
    std::string name = mainEntryName(header);
    bool added = addEntry(archive, "version.txt", kFormatVersion, &version) &&
                 addEntry(archive, "main_entry.txt", std::string(name), &mainName) &&
                 addEntry(archive, name.c_str(), mainText(header, mainTextBytes), &main) &&
                 addEntry(archive, kOtherHalEntry,
                          "Health HAL: battery 100%, charging, temperature 30.0 C\n", &other) &&
                 addEntry(archive, kServiceEntry, std::string(serviceDump), &service);
    if (!added) {
        *error = path + ": " + zip_strerror(archive);
        zip_discard(archive);
        return false;
    }
    if (zip_close(archive) != 0) {
        *error = path + ": " + zip_strerror(archive);
        zip_discard(archive);
        return false;
    }
    return true;
}

}  // namespace sim
