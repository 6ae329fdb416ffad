#include "Formats/ImageArchive.hpp"

#include "Formats/ImageCoding.hpp"
#include "Formats/ImageDecoding.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/TextFormatting.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace mox {

namespace {

using Array = PropertyList::Array;
using Data = PropertyList::Data;
using Dictionary = PropertyList::Dictionary;
using UID = PropertyList::UID;

constexpr std::string_view archiverName = "NSKeyedArchiver";
constexpr std::string_view imageClassName = "NSImage";

/// The shortest text that reads back as `number`, the same in every locale.
std::string shortestText(double number) {
    std::string text;
    for (int digits = 6; digits <= std::numeric_limits<double>::max_digits10; ++digits) {
        std::ostringstream writing;
        writing.imbue(std::locale::classic());
        writing.precision(digits);
        writing << number;
        text = writing.str();
        std::istringstream reading(text);
        reading.imbue(std::locale::classic());
        double readBack = 0;
        if (reading >> readBack && readBack == number) break;
    }
    return text;
}

std::string textFromSize(const Image::Size& size) {
    return formatted("{%@, %@}", {shortestText(size.width), shortestText(size.height)});
}

/// The size in a text of the form "{w, h}"; nil when it is none of a picture.
std::optional<Image::Size> sizeFromText(const std::string& text) {
    std::istringstream reading(text);
    reading.imbue(std::locale::classic());
    char opening = 0;
    char comma = 0;
    char closing = 0;
    Image::Size size;
    reading >> opening >> size.width >> comma >> size.height >> closing;
    if (!reading || opening != '{' || comma != ',' || closing != '}') return std::nullopt;
    if (!std::isfinite(size.width) || !std::isfinite(size.height)) return std::nullopt;
    if (size.width <= 0 || size.height <= 0) return std::nullopt;
    return size;
}

/// Collects the objects of an archive, each under the number that the others refer to it by.
class Archiving {
public:
    /// Starts with the object that stands for nil, and keeps the place after it for the root object.
    Archiving() {
        add("$null");
        _root = add("$null");
    }

    UID add(PropertyList object) {
        _objects.push_back(std::move(object));
        return UID{_objects.size() - 1};
    }

    /// The class named first in `hierarchy`, with its superclasses after it; the same class is added once.
    UID classOf(const std::vector<std::string_view>& hierarchy) {
        const auto known = _classes.find(hierarchy.front());
        if (known != _classes.end()) return known->second;
        Dictionary description;
        description.set("$classname", hierarchy.front());
        description.set("$classes", Array(hierarchy.begin(), hierarchy.end()));
        return _classes[hierarchy.front()] = add(std::move(description));
    }

    /// The archive with `root` as its root object.
    PropertyList archive(PropertyList root) {
        _objects[static_cast<std::size_t>(_root.value)] = std::move(root);
        Dictionary top;
        top.set("root", _root);
        Dictionary archive;
        archive.set("$archiver", archiverName);
        archive.set("$objects", std::move(_objects));
        archive.set("$top", std::move(top));
        archive.set("$version", PropertyList::integer(100'000));
        return archive;
    }

private:
    Array _objects;
    UID _root{};
    std::map<std::string_view, UID> _classes;
};

UID addArray(Archiving& archiving, Array elements, const std::vector<std::string_view>& hierarchy) {
    Dictionary array;
    array.set("$class", archiving.classOf(hierarchy));
    array.set("NS.objects", std::move(elements));
    return archiving.add(std::move(array));
}

UID addRepresentation(Archiving& archiving, Bytes tiff) {
    Dictionary representation;
    representation.set("$class", archiving.classOf({"NSBitmapImageRep", "NSImageRep", "NSObject"}));
    representation.set("NSTIFFRepresentation", archiving.add(Data(std::move(tiff))));
    return archiving.add(std::move(representation));
}

/// The colour behind the picture: white without any opacity.
UID addBackground(Archiving& archiving) {
    constexpr std::int64_t whiteColorSpace = 3;
    Dictionary color;
    color.set("$class", archiving.classOf({"NSColor", "NSObject"}));
    color.set("NSColorSpace", PropertyList::integer(whiteColorSpace));
    color.set("NSWhite", Data(Bytes("0 0\0", 4)));
    return archiving.add(std::move(color));
}

/// Reads the image out of an archive. References are followed from a list of their own, each object is
/// visited once, and what does not have the form that is looked for is passed over.
class Unarchiving {
public:
    explicit Unarchiving(const Array& objects) : _objects(objects), _visited(objects.size()) {}

    std::optional<Image> image(const PropertyList& reference) {
        const PropertyList* object = resolved(reference);
        const Dictionary* archived = object ? object->dictionary() : nullptr;
        if (!archived || !mayBeImage(*archived)) return std::nullopt;
        const PropertyList* representations = archived->find("NSReps");
        if (!representations) return std::nullopt;
        Image image;
        image.representations = this->representations(*representations);
        if (image.representations.empty()) return std::nullopt;
        image.size = sizeOf(*archived).value_or(image.representations.front().size);
        return image;
    }

private:
    /// The number of the object that `value` refers to; nil when it is no reference.
    static std::optional<std::uint64_t> reference(const PropertyList& value) {
        if (const auto uid = value.uid()) return uid->value;
        const Dictionary* dictionary = value.dictionary();
        const PropertyList* number = dictionary ? dictionary->find("CF$UID") : nullptr;
        return number ? number->unsignedInteger() : std::nullopt;
    }

    /// `value` itself, or the object that it refers to; null when there is no such object.
    const PropertyList* resolved(const PropertyList& value) const {
        const auto number = reference(value);
        if (!number) return &value;
        return *number < _objects.size() ? &_objects[static_cast<std::size_t>(*number)] : nullptr;
    }

    const PropertyList* resolved(const Dictionary& object, std::string_view key) const {
        const PropertyList* value = object.find(key);
        return value ? resolved(*value) : nullptr;
    }

    /// Whether the object's class, if it names one, is that of images or derived from it.
    bool mayBeImage(const Dictionary& object) const {
        const PropertyList* value = resolved(object, "$class");
        const Dictionary* description = value ? value->dictionary() : nullptr;
        if (!description) return true;
        if (const std::string* name = description->string("$classname"); name && *name == imageClassName) {
            return true;
        }
        const Array* hierarchy = description->array("$classes");
        return hierarchy && std::find(hierarchy->begin(), hierarchy->end(), PropertyList(imageClassName)) !=
                                hierarchy->end();
    }

    std::optional<Image::Size> sizeOf(const Dictionary& image) const {
        const PropertyList* value = resolved(image, "NSSize");
        const std::string* text = value ? value->string() : nullptr;
        return text ? sizeFromText(*text) : std::nullopt;
    }

    std::vector<Image::Representation> representations(const PropertyList& root) {
        std::vector<Image::Representation> found;
        std::vector<const PropertyList*> pending{&root};
        while (!pending.empty()) {
            const PropertyList* value = pending.back();
            pending.pop_back();
            if (const auto number = reference(*value)) {
                if (*number >= _objects.size() || _visited[static_cast<std::size_t>(*number)]) continue;
                _visited[static_cast<std::size_t>(*number)] = true;
                // Not followed here, so that a reference to a reference is looked at like any other.
                pending.push_back(&_objects[static_cast<std::size_t>(*number)]);
                continue;
            }
            const Dictionary* object = value->dictionary();
            if (object && object->find("NSTIFFRepresentation")) {
                auto representation = decodedRepresentation(*object);
                if (representation) found.push_back(std::move(*representation));
                continue;
            }
            const Array* elements = object ? object->array("NS.objects") : value->array();
            if (!elements) continue;
            // The last is pushed first: what is on top comes next.
            for (auto element = elements->rbegin(); element != elements->rend(); ++element) {
                pending.push_back(&*element);
            }
        }
        return found;
    }

    std::optional<Image::Representation> decodedRepresentation(const Dictionary& object) {
        const PropertyList* value = resolved(object, "NSTIFFRepresentation");
        if (const Dictionary* wrapped = value ? value->dictionary() : nullptr) {
            value = resolved(*wrapped, "NS.data");
        }
        const Data* data = value ? value->data() : nullptr;
        if (!data) return std::nullopt;
        auto pictures = representationsFromBytes(data->bytes(), 1, _budget);
        return pictures.empty() ? std::nullopt : std::optional(std::move(pictures.front()));
    }

    const Array& _objects;
    std::vector<bool> _visited;
    DecodingBudget _budget;
};

} // namespace

std::optional<Bytes> archivedImage(const Image& image) {
    Archiving archiving;
    Dictionary archived;
    archived.set("$class", archiving.classOf({imageClassName, "NSObject"}));
    archived.set("NSImageFlags", PropertyList::integer(0x20C00000));
    archived.set("NSSize", archiving.add(textFromSize(image.size)));

    const UID zero = archiving.add(PropertyList::integer(0));
    Array pairs;
    for (const Image::Representation& representation : image.representations) {
        auto tiff = tiffFromRepresentation(representation);
        if (!tiff) return std::nullopt;
        const UID archivedRepresentation = addRepresentation(archiving, std::move(*tiff));
        pairs.push_back(addArray(archiving, {zero, archivedRepresentation}, {"NSArray", "NSObject"}));
    }
    archived.set("NSReps", addArray(archiving, std::move(pairs), {"NSMutableArray", "NSArray", "NSObject"}));
    archived.set("NSColor", addBackground(archiving));
    return binaryFromPropertyList(archiving.archive(std::move(archived)));
}

std::optional<Image> imageFromArchive(ByteView bytes) {
    const auto archive = propertyListFromBytes(bytes);
    const Dictionary* contents = archive ? archive->dictionary() : nullptr;
    if (!contents) return std::nullopt;
    const Array* objects = contents->array("$objects");
    const Dictionary* top = contents->dictionary("$top");
    const PropertyList* root = top ? top->find("root") : nullptr;
    if (!objects || !root) return std::nullopt;
    return Unarchiving(*objects).image(*root);
}

} // namespace mox
