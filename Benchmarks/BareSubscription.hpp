#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace mox {

/// What one subscription has made, kept in memory to be made again by the bare system calls: the same folders
/// and files with the same contents, each opened, written, synchronised and renamed as often as a
/// subscription must. Nothing is read, worked out, parsed or encoded meanwhile.
class BareSubscription {
public:
    /// Takes in what was subscribed to as `stub`, from the template at `templatePath`, and the files of its
    /// registration in `dataFolder`, in which there is no other one.
    BareSubscription(const std::string& templatePath, const std::string& stub, const std::string& dataFolder);

    /// Makes the stub `name` in `folder`, and the files of its registration with `number` in their names.
    void make(const std::string& folder, const std::string& name, int number) const;

private:
    struct File {
        std::string name;
        std::string content;
        mode_t mode;
    };

    struct Folder {
        std::string name;
        mode_t mode;
        std::vector<File> files;
        std::vector<Folder> folders;
    };

    static File readFile(const std::string& path, const std::string& name);
    static Folder readFolder(const std::string& path, const std::string& name);
    static void makeFolder(int parent, const char* name, const Folder& folder);

    std::string _dataFolder;
    Folder _template;
    /// By their paths in the stub.
    std::vector<File> _changedFiles;
    /// By their paths in the data folder, the digits of the name replaced by "#".
    std::vector<File> _entries;
    std::vector<File> _companions;
};

} // namespace mox
