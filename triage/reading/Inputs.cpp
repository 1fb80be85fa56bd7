#include "Inputs.h"

#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string_view>

namespace triage {
namespace {

namespace fs = std::filesystem;

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string limitNote(unsigned long long size) {
    return "the input holds " + std::to_string(size) + " bytes; only the first " +
           std::to_string(kReadLimit >> 20) + " MB were read";
}

// Up to the limit from a stdio stream; notes when there was more.
LoadedInput readStream(FILE* stream) {
    LoadedInput input;
    char buffer[65536];
    unsigned long long total = 0;
    for (size_t n; (n = fread(buffer, 1, sizeof(buffer), stream)) > 0;) {
        size_t room = kReadLimit - std::min(kReadLimit, input.text.size());
        input.text.append(buffer, std::min(n, room));
        total += n;
    }
    if (ferror(stream)) throw InputError(std::string("unreadable: ") + strerror(errno));
    if (total > kReadLimit) input.notes.push_back(limitNote(total));
    return input;
}

LoadedInput readText(const std::string& path) {
    if (path == "-") return readStream(stdin);
    std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "rbe"), fclose);
    if (!file) throw InputError(std::string("unreadable: ") + strerror(errno));
    return readStream(file.get());
}

// FNV-1a, 64 bits: a fleet of a million reports meets a collision with a
// chance of about one in 3 * 10^7.
std::string digestOf(std::initializer_list<std::string_view> parts) {
    uint64_t hash = 0xcbf29ce484222325u;
    for (std::string_view text : parts) {
        for (unsigned char c : text) hash = (hash ^ c) * 0x100000001b3u;
    }
    char hex[17];
    snprintf(hex, sizeof(hex), "%016llx", static_cast<unsigned long long>(hash));
    return hex;
}

// The service's entry: by its full name, or under a folder of its own.
zip_int64_t findServiceEntry(zip_t* archive) {
    zip_int64_t index = zip_name_locate(archive, kServiceEntry, 0);
    if (index >= 0) return index;
    const std::string suffix = std::string("/") + kServiceEntry;
    zip_int64_t entries = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < entries; ++i) {
        const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
        if (name != nullptr && endsWith(name, suffix)) return i;
    }
    return -1;
}

// Up to `limit` bytes of an entry, streamed: a main text of a hundred MB
// costs no more than its header.
std::string readEntry(zip_t* archive, zip_uint64_t index, size_t limit) {
    std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> entry(zip_fopen_index(archive, index, 0),
                                                            zip_fclose);
    if (!entry) throw InputError(std::string("unreadable entry: ") + zip_strerror(archive));
    std::string text;
    zip_stat_t stat;
    if (zip_stat_index(archive, index, 0, &stat) == 0 && (stat.valid & ZIP_STAT_SIZE) != 0)
        text.reserve(static_cast<size_t>(std::min<zip_uint64_t>(stat.size, limit)));
    char buffer[65536];
    while (text.size() < limit) {
        zip_int64_t n =
                zip_fread(entry.get(), buffer, std::min(sizeof(buffer), limit - text.size()));
        if (n < 0)
            throw InputError(std::string("unreadable entry: ") + zip_file_strerror(entry.get()));
        if (n == 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    return text;
}

bool isOlderMainEntry(const char* name) {
    return strncmp(name, "bugreport", 9) == 0 && strchr(name, '/') == nullptr &&
           endsWith(name, ".txt");
}

// The entry main_entry.txt names (Android 12), else the top-level
// bugreport*.txt of an older dumpstate; -1 when neither is there.
zip_int64_t findMainEntry(zip_t* archive) {
    zip_int64_t pointer = zip_name_locate(archive, "main_entry.txt", 0);
    if (pointer >= 0) {
        std::string name = readEntry(archive, static_cast<zip_uint64_t>(pointer), 1024);
        name.erase(name.find_last_not_of(" \t\r\n") + 1);
        return zip_name_locate(archive, name.c_str(), 0);
    }
    zip_int64_t entries = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < entries; ++i) {
        const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
        if (name != nullptr && isOlderMainEntry(name)) return i;
    }
    return -1;
}

LoadedInput readZip(const std::string& path) {
    int error = 0;
    std::unique_ptr<zip_t, int (*)(zip_t*)> archive(zip_open(path.c_str(), ZIP_RDONLY, &error),
                                                    zip_close);
    if (!archive) {
        if (error == ZIP_ER_NOZIP || error == ZIP_ER_INCONS) throw InputError("not a zip");
        zip_error_t reason;
        zip_error_init_with_code(&reason, error);
        std::string what = std::string("unreadable: ") + zip_error_strerror(&reason);
        zip_error_fini(&reason);
        throw InputError(what);
    }
    zip_int64_t index = findServiceEntry(archive.get());
    if (index < 0)
        throw InputError(std::string("no entry for the service (") + kServiceEntry + ")");
    LoadedInput input;
    input.entry = zip_get_name(archive.get(), static_cast<zip_uint64_t>(index), 0);
    input.text = readEntry(archive.get(), static_cast<zip_uint64_t>(index), kReadLimit);
    zip_stat_t stat;
    if (zip_stat_index(archive.get(), static_cast<zip_uint64_t>(index), 0, &stat) == 0 &&
        (stat.valid & ZIP_STAT_SIZE) != 0 && stat.size > kReadLimit) {
        input.notes.push_back(limitNote(stat.size));
    }
    std::string top;
    zip_int64_t main = findMainEntry(archive.get());
    if (main >= 0) top = readEntry(archive.get(), static_cast<zip_uint64_t>(main), kHeaderLimit);
    std::string_view header = headerOf(top);
    input.header = readHeader(header);
    input.identity = digestOf({header, input.text});
    return input;
}

}  // namespace

std::vector<std::string> expandInputs(const std::vector<std::string>& arguments) {
    std::vector<std::string> inputs;
    for (const std::string& argument : arguments) {
        std::error_code error;
        if (argument == "-" || !fs::is_directory(argument, error)) {
            inputs.push_back(argument);
            continue;
        }
        std::vector<std::string> found;
        for (fs::recursive_directory_iterator it(argument, error), end; !error && it != end;
             it.increment(error)) {
            std::string path = it->path().string();
            if (it->is_regular_file(error) && (endsWith(path, ".zip") || endsWith(path, ".txt"))) {
                found.push_back(path);
            }
        }
        if (error) found.push_back(argument);  // reported when it is read
        std::sort(found.begin(), found.end());
        inputs.insert(inputs.end(), found.begin(), found.end());
    }
    return inputs;
}

LoadedInput loadInput(const std::string& path) {
    if (endsWith(path, ".zip")) return readZip(path);
    LoadedInput input = readText(path);
    input.identity = digestOf({input.text});
    return input;
}

}  // namespace triage
