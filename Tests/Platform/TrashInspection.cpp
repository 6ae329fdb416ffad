#include "Platform/TrashInspection.hpp"

#include "Support/FolderInspection.hpp"

#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace mox::test {
namespace {

std::vector<std::string> namesIfThere(const std::string& path) {
    return isThere(path) ? namesIn(path) : std::vector<std::string>();
}

} // namespace

std::tm valentinesDay() {
    std::tm date = {};
    date.tm_year = 121;
    date.tm_mon = 1;
    date.tm_mday = 14;
    date.tm_hour = 13;
    date.tm_min = 14;
    date.tm_sec = 15;
    return date;
}

std::string informationAbout(const std::string& path) {
    std::string encoded;
    for (const char c : path) {
        char text[8];
        const bool isPlain = c != '\0' && std::strchr("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                      "0123456789-_.~/",
                                                      c) != nullptr;
        std::snprintf(text, sizeof text, isPlain ? "%c" : "%%%02X", static_cast<unsigned char>(c));
        encoded += text;
    }
    return "[Trash Info]\nPath=" + encoded + "\nDeletionDate=2021-02-14T13:14:15\n";
}

std::vector<std::string> itemsInTrash(const std::string& trash) {
    return namesIfThere(trash + "/files");
}

std::vector<std::string> informationInTrash(const std::string& trash) {
    return namesIfThere(trash + "/info");
}

bool isThere(const std::string& path) {
    struct ::stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace mox::test
