#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ModelBased/Observations.hpp"
#include "ModelBased/ReferenceRecords.hpp"

namespace mox::test::model {

/// A document type of an information list.
struct DocumentType {
    std::string name = {};
    std::vector<std::string> extensions = {};
    std::string role = {};
    std::string iconFile = {};
};

/// A bundle's information list.
struct InfoList {
    std::map<std::string, std::string, ByUTF16> texts = {};
    bool isDesktopViewer = false;
    std::optional<std::vector<DocumentType>> documentTypes = std::nullopt;
};

/// A file or folder of the reference's disk, with what a file means. A file has one of its contents.
struct Item {
    bool isFolder = false;
    std::map<std::string, Item> items = {};
    std::string bytes = {};
    std::optional<InfoList> infoList = std::nullopt;
    std::optional<Entry> alias = std::nullopt;
    /// The side of the picture in an icon file; 0 when it is none.
    int icon = 0;
};

Item fileOf(const std::string& bytes);
Item folderOf(const std::map<std::string, Item>& items);

/// Everything at and below `item`, by path.
void describe(const Item& item, const std::string& path, Observations& lines);

/// What a file means, as a text.
std::string textOf(const InfoList& infoList);
std::string contentOf(const Item& file);

/// Whether a directory of that name is shown as one thing.
bool isPackageName(const std::string& path);

/// The texts of a strings file by key; nothing when the file is malformed.
std::map<std::string, std::string> textsInStrings(const std::string& bytes);

/// A disk in memory. Its paths begin with a name at the top, "~" for instance.
class FileTree {
public:
    /// An errno value with a path, or none.
    struct Outcome {
        int error = 0;
        std::string path = {};
        explicit operator bool() const { return error == 0; }
    };

    /// What is at `path`; null when nothing is.
    Item* find(const std::string& path);
    bool isFolder(const std::string& path);

    /// Puts `item` at `path` if its folder is there and nothing is in the way; whether it did.
    bool put(const std::string& path, const Item& item);

    Outcome remove(const std::string& path);
    Outcome move(const std::string& source, const std::string& destination);
    Outcome makeFolders(const std::string& path);

private:
    struct Place {
        Item* folder = nullptr;
        std::string name = {};
        int error = 0;
    };
    Place placeOf(const std::string& path);

    Item _top{.isFolder = true};
};

/// The framework's error for such an outcome.
std::string errorOf(const FileTree::Outcome& outcome);
int errorCodeOf(const FileTree::Outcome& outcome);

} // namespace mox::test::model
