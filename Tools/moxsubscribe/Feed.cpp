#include "Feed.hpp"

#include <expat.h>

#include <exception>
#include <memory>
#include <string_view>
#include <type_traits>

namespace mox::tool {
namespace {

constexpr std::size_t maximumDepth = 100;
constexpr std::size_t maximumResourceCount = 20'000;
constexpr std::size_t maximumTextLength = 8192;

std::string_view localName(std::string_view name) {
    const std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// The value of an attribute; null when the element does not have it.
const char* attribute(const XML_Char** attributes, std::string_view name) {
    for (; *attributes != nullptr; attributes += 2) {
        if (localName(attributes[0]) == name) return attributes[1];
    }
    return nullptr;
}

std::string attributeText(const XML_Char** attributes, std::string_view name) {
    const char* value = attribute(attributes, name);
    return value == nullptr ? "" : value;
}

class FeedReader {
public:
    FeedReader() : _parser(XML_ParserCreate(nullptr)) {
        if (!_parser) throw std::bad_alloc();
        XML_SetUserData(_parser.get(), this);
        XML_SetElementHandler(
            _parser.get(),
            [](void* reader, const XML_Char* name, const XML_Char** attributes) {
                static_cast<FeedReader*>(reader)->guarded(
                    [&](FeedReader& self) { self.begin(name, attributes); });
            },
            [](void* reader, const XML_Char*) { static_cast<FeedReader*>(reader)->end(); });
        XML_SetStartDoctypeDeclHandler(
            _parser.get(), [](void* reader, const XML_Char*, const XML_Char*, const XML_Char*, int) {
                static_cast<FeedReader*>(reader)->guarded(
                    [](FeedReader& self) { self.fail("a feed has no document type declaration"); });
            });
    }

    Feed read(ByteView bytes) {
        // The parser counts in int.
        constexpr std::size_t pieceLength = std::size_t{1} << 20;
        do {
            const ByteView piece = bytes.substr(0, pieceLength);
            bytes.remove_prefix(piece.size());
            const XML_Status status = XML_Parse(_parser.get(), piece.data(), static_cast<int>(piece.size()),
                                                bytes.empty() ? XML_TRUE : XML_FALSE);
            if (_failure) std::rethrow_exception(_failure);
            if (status != XML_STATUS_OK) fail(XML_ErrorString(XML_GetErrorCode(_parser.get())));
        } while (!bytes.empty());
        return std::move(_feed);
    }

private:
    struct ParserDeleter {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    [[noreturn]] void fail(std::string_view what) const {
        throw FeedError("line " + std::to_string(XML_GetCurrentLineNumber(_parser.get())) + ": " +
                        std::string(what));
    }

    /// The parser is C: an exception must not pass through it.
    template<typename Step>
    void guarded(Step step) noexcept {
        if (_failure) return;
        try {
            step(*this);
        } catch (...) {
            _failure = std::current_exception();
            XML_StopParser(_parser.get(), XML_FALSE);
        }
    }

    void begin(std::string_view qualifiedName, const XML_Char** attributes) {
        const std::string_view name = localName(qualifiedName);
        if (_depth == 0 && name != "ResourceCollection")
            fail("not a workspace feed: the root is no ResourceCollection");
        if (++_depth > maximumDepth) fail("elements are nested too deeply");
        for (const XML_Char** each = attributes; *each != nullptr; ++each) {
            if (std::string_view(*each).size() > maximumTextLength) fail("an attribute is too long");
        }
        if (_resourceDepth != 0) {
            beginInResource(name, attributes);
        } else if (name == "Resource") {
            if (_feed.resources.size() == maximumResourceCount) fail("too many resources");
            _resourceDepth = _depth;
            _feed.resources.push_back({.title = attributeText(attributes, "Title"),
                                       .alias = attributeText(attributes, "Alias"),
                                       .type = attributeText(attributes, "Type"),
                                       .publisher = _publisher,
                                       .iconURLs = {},
                                       .fileExtensions = {},
                                       .folders = {},
                                       .resourceFileURL = {}});
        } else if (name == "Publisher") {
            const char* publisherName = attribute(attributes, "Name");
            _publisher = publisherName == nullptr ? std::nullopt : std::optional<std::string>(publisherName);
            _publisherDepth = _depth;
        }
    }

    void beginInResource(std::string_view name, const XML_Char** attributes) {
        FeedResource& resource = _feed.resources.back();
        if (name == "FileAssociationIcons") {
            // Pictures of documents, not of the resource.
            if (_associationDepth == 0) _associationDepth = _depth;
        } else if (name.starts_with("Icon") && _associationDepth == 0) {
            if (const char* url = attribute(attributes, "FileURL")) resource.iconURLs.emplace_back(url);
        } else if (name == "FileExtension") {
            if (const char* extension = attribute(attributes, "Name"))
                resource.fileExtensions.emplace_back(extension);
        } else if (name == "Folder") {
            if (const char* folder = attribute(attributes, "Name")) resource.folders.emplace_back(folder);
        } else if (name == "ResourceFile" && resource.resourceFileURL.empty()) {
            resource.resourceFileURL = attributeText(attributes, "URL");
        }
    }

    void end() noexcept {
        if (_failure) return;
        if (_depth == _associationDepth) _associationDepth = 0;
        if (_depth == _resourceDepth) _resourceDepth = 0;
        if (_depth == _publisherDepth) {
            _publisherDepth = 0;
            _publisher.reset();
        }
        --_depth;
    }

    std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter> _parser;
    Feed _feed;
    std::exception_ptr _failure;
    std::optional<std::string> _publisher;
    std::size_t _depth = 0;
    /// The depths of the elements that are being read; 0 outside them.
    std::size_t _publisherDepth = 0;
    std::size_t _resourceDepth = 0;
    std::size_t _associationDepth = 0;
};

} // namespace

Feed readFeed(ByteView bytes) {
    if (bytes.size() > maximumFeedLength) throw FeedError("line 1: the feed is too long");
    return FeedReader().read(bytes);
}

} // namespace mox::tool
