#include "StorePeers.hpp"

#include <plist/plist.h>
#include <pugixml.hpp>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "StoreFiles.hpp"

namespace mox::bench {
namespace {

/// The first value under `key`, in document order of the dictionaries.
plist_t valueUnder(plist_t node, const std::string& key) {
    if (plist_get_node_type(node) != PLIST_DICT) return nullptr;
    if (plist_t found = plist_dict_get_item(node, key.c_str())) return found;
    plist_t result = nullptr;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    for (plist_t child = nullptr; result == nullptr;) {
        plist_dict_next_item(node, iterator, nullptr, &child);
        if (child == nullptr) break;
        result = valueUnder(child, key);
    }
    std::free(iterator);
    return result;
}

class LibplistStore : public Peer {
public:
    explicit LibplistStore(plist_t root) : _root(root) { require(root != nullptr, "libplist cannot read"); }
    LibplistStore(const LibplistStore&) = delete;
    LibplistStore& operator=(const LibplistStore&) = delete;
    ~LibplistStore() override { plist_free(_root); }

    void serialise(const std::function<void(std::string_view)>& use) const override {
        char* text = nullptr;
        std::uint32_t length = 0;
        plist_to_xml(_root, &text, &length);
        require(text != nullptr && length > 0, "libplist cannot write the store");
        use({text, length});
        plist_to_xml_free(text);
    }

    void change(const std::string& name, const std::string& text) override {
        plist_t entry = valueUnder(_root, name);
        require(entry != nullptr, "libplist does not find the entry");
        plist_dict_set_item(entry, "Description", plist_new_string(text.c_str()));
    }

private:
    plist_t _root;
};

class PugixmlStore : public Peer {
public:
    PugixmlStore() {
        require(_document.load_file(storePath().c_str(), pugi::parse_default | pugi::parse_doctype),
                "pugixml cannot read the store");
    }

    void serialise(const std::function<void(std::string_view)>& use) const override {
        struct : pugi::xml_writer {
            void write(const void* data, std::size_t size) override {
                text.append(static_cast<const char*>(data), size);
            }
            std::string text;
        } writer;
        _document.save(writer, "\t");
        use(writer.text);
    }

    void change(const std::string& name, const std::string& text) override {
        const pugi::xml_node key = _document.find_node([&name](const pugi::xml_node& node) {
            return std::strcmp(node.name(), "key") == 0 && node.text().get() == name;
        });
        pugi::xml_node entry = key.next_sibling("dict");
        require(static_cast<bool>(entry), "pugixml does not find the entry");
        entry.child("string").text().set(text.c_str());
    }

private:
    pugi::xml_document _document;
};

} // namespace

std::unique_ptr<Peer> loadWithLibplist() {
    const std::string contents = contentsOf(storePath());
    plist_t root = nullptr;
    plist_from_xml(contents.data(), static_cast<std::uint32_t>(contents.size()), &root);
    return std::make_unique<LibplistStore>(root);
}

std::unique_ptr<Peer> loadWithPugixml() {
    return std::make_unique<PugixmlStore>();
}

} // namespace mox::bench
