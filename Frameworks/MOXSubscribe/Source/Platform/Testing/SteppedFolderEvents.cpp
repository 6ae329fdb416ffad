#include "Platform/Testing/SteppedFolderEvents.hpp"

#include <utility>

namespace mox::test {
namespace {

class SteppedStream : public FolderEventStream {
public:
    explicit SteppedStream(std::shared_ptr<SteppedFolderEvents::Stream> stream)
        : _stream(std::move(stream)) {}
    ~SteppedStream() override { _stream->isDestroyed = true; }

    void schedule(const std::shared_ptr<RunLoop>& runLoop, std::string_view mode) override {
        _stream->runLoop = runLoop;
        _stream->mode = mode;
    }

    bool start() override {
        _stream->isStarted = _stream->runLoop != nullptr;
        return _stream->isStarted;
    }

private:
    std::shared_ptr<SteppedFolderEvents::Stream> _stream;
};

} // namespace

void SteppedFolderEvents::deliver(const std::vector<std::string>& folders) {
    const auto current = streams;
    for (const auto& stream : current)
        if (stream->isStarted && !stream->isDestroyed) stream->callback(folders);
}

std::unique_ptr<FolderEventStream> SteppedFolderEvents::createStream(const std::string& path,
                                                                     std::chrono::milliseconds latency,
                                                                     Callback callback) {
    if (refusesToCreate) return nullptr;
    streams.push_back(std::make_shared<Stream>(Stream{path, latency, std::move(callback)}));
    return std::make_unique<SteppedStream>(streams.back());
}

} // namespace mox::test
