#include "SDK/PlistStore.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/PathRules.hpp"
#include "SDK/MOXSubscribeAdditions.hpp"

#include <cerrno>
#include <fstream>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace mox::test {

bool OpenPlistStore::isMonitorFree() const {
    bool isFree = false;
    std::thread([this, &isFree] {
        isFree = monitor().try_lock();
        if (isFree) monitor().unlock();
    }).join();
    return isFree;
}

Dictionary dictionaryOf(const Entries& entries) {
    Dictionary dictionary;
    for (const auto& [key, value] : entries)
        dictionary.set(key, value);
    return dictionary;
}

Dictionary node(const Entries& folders, const Entries& subscriptions) {
    return dictionaryOf({{"Folders", dictionaryOf(folders)}, {"Subscriptions", dictionaryOf(subscriptions)}});
}

Dictionary entry(const EntryTexts& texts) {
    return dictionaryOf({{"Korvan Application Type", texts.type},
                         {"Korvan Server Unique Application Name", texts.resource},
                         {"Store Name", texts.store},
                         {"Some Other Key", PropertyList::Array{"kept", PropertyList::boolean(true)}}});
}

MOXSubscribeKeywords keywordsFor(std::string_view fileName, std::string_view folder) {
    return {.ofType = MOXSubscriptionType::Application,
            .onStoreNamed = "Store",
            .withInternalStoreURL = "https://store.example/internal",
            .andExternalStoreURL = std::nullopt,
            .usingNorvikType = MOXNorvikType::Advanced,
            .andNorvikAuthType = MOXNorvikAuthType::RSA,
            .withFileName = std::string(fileName),
            .inFolder = std::string(folder),
            .andOptionalInfo = std::nullopt};
}

const Dictionary* nodeAt(const Dictionary& root, const Paths& components) {
    const Dictionary* current = &root;
    for (const std::string& component : components) {
        const Dictionary* folders = current ? current->dictionary("Folders") : nullptr;
        current = folders ? folders->dictionary(component) : nullptr;
    }
    return current;
}

PlistStoreTest::PlistStoreTest() {
    environment.userDirectories.home = "/Users/user";
    letAssertions(Then::Throws);
}

void PlistStoreTest::letAssertions(Then then) {
    assertions = std::make_shared<RecordingAssertionHandler>(then);
    environment.assertionHandler.install(assertions);
}

std::string PlistStoreTest::homePath(std::string_view relativePath) const {
    return stringByAppendingPathComponent(homeOnDisk, relativePath);
}

std::string PlistStoreTest::supportFolder() const {
    return homePath("Library/Application Support/Korvan Ostrel");
}

std::string PlistStoreTest::plistPath() const {
    return supportFolder() + "/Subscriptions.plist";
}

void PlistStoreTest::putFile(std::string_view bytes) const {
    makeFolders(supportFolder());
    std::ofstream stream(plistPath(), std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) throw std::system_error(errno, std::generic_category(), plistPath());
}

void PlistStoreTest::putTree(const Dictionary& root) const {
    putFile(*storedFormOfPropertyList(root));
}

std::shared_ptr<OpenPlistStore> PlistStoreTest::open() {
    auto store = std::make_shared<OpenPlistStore>();
    environment.fileSystem.resetCounts();
    environment.systemLog.clear();
    return store;
}

std::shared_ptr<OpenPlistStore> PlistStoreTest::open(const Dictionary& root) {
    putTree(root);
    return open();
}

Dictionary PlistStoreTest::treeOnDisk() const {
    const std::optional<PropertyList> tree = propertyListFromBytes(bytesOfFile(plistPath()));
    if (!tree || !tree->dictionary()) throw std::runtime_error("The store's file holds no dictionary.");
    return *tree->dictionary();
}

std::size_t PlistStoreTest::saves() const {
    return environment.fileSystem.count(FileSystemOperation::WriteFileAtomically);
}

testing::AssertionResult isFrameworkError(const std::optional<Error>& error, Error::Code code) {
    if (!error) return testing::AssertionFailure() << "there is no error";
    if (error->domain() == MOXSubscribeErrorDomain && error->code() == code &&
        !error->userInfo().contains(NSFilePathErrorKey) && !error->underlyingError()) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << error->description();
}

testing::AssertionResult isInvalidArgument(const std::optional<Error>& error) {
    if (!error) return testing::AssertionFailure() << "there is no error";
    if (error->domain() == NSPOSIXErrorDomain && error->code() == 22 && error->userInfo().empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << error->description();
}

void makeFolders(const std::string& path, unsigned mode) {
    const std::string parent = stringByDeletingLastPathComponent(path);
    if (access(parent.c_str(), F_OK) != 0) makeFolders(parent);
    if (mkdir(path.c_str(), static_cast<mode_t>(mode)) != 0 && errno != EEXIST)
        throw std::system_error(errno, std::generic_category(), path);
}

} // namespace mox::test
