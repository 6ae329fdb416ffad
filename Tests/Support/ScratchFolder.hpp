#pragma once

#include <string>
#include <string_view>

namespace mox::test {

/// A new folder for one test, on the RAM disk when there is one that can be written, else in the temporary
/// directory. It is removed with everything in it when the object ends; symbolic links in it are not
/// followed.
class ScratchFolder {
public:
    /// Makes the folder. Throws std::system_error when that is impossible.
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    /// The folder's absolute path, without a "/" at its end.
    const std::string& path() const { return _path; }

    /// The path of `name` in the folder; `name` may have several components.
    std::string path(std::string_view name) const { return _path + "/" + std::string(name); }

    /// Writes a file of `bytes` in the folder and returns its path. Throws std::system_error on failure.
    std::string write(std::string_view name, std::string_view bytes) const;

private:
    std::string _path;
};

/// The bytes of the file at `path`. Throws std::system_error when it cannot be read.
std::string bytesOfFile(const std::string& path);

} // namespace mox::test
