#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"

#include <benchmark/benchmark.h>
#include <png.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// It does not say that it is C.
extern "C" {
#include <icns.h>
}

// Writes and reads icon files of the sample icons: from pixels beside libicns and a plain libpng, from PNG
// files beside a copy of their bytes, and all of a file's pictures beside libicns and libpng's decoder alone.
namespace mox {
namespace {

using Representations = std::vector<Image::Representation>;

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

Image::Representation sampleIcon(const std::string& name, std::uint32_t side) {
    const std::string length = std::to_string(side);
    const std::string path = MOX_SAMPLE_ICONS "/" + name + "_" + length + "x" + length + ".png";
    std::ifstream file(path, std::ios::binary);
    const auto image = imageFromBytes(Bytes(std::istreambuf_iterator<char>(file), {}));
    require(image.has_value(), "cannot read " + path);
    return image->representations.front();
}

/// `original` with four pixels for each, every new one the mean of its neighbours.
Image::Representation doubled(const Image::Representation& original) {
    Image::Representation result;
    const std::uint32_t side = original.pixelsWide;
    result.pixelsWide = result.pixelsHigh = side * 2;
    result.size = {side * 2.0, side * 2.0};
    std::vector<std::uint8_t> pixels;
    for (std::uint32_t row = 0; row < side * 2; ++row) {
        for (std::uint32_t index = 0; index < side * 8; ++index) {
            const std::uint32_t column = index / 4;
            unsigned sum = 0;
            for (const std::uint32_t y : {row / 2, std::min((row + 1) / 2, side - 1)}) {
                for (const std::uint32_t x : {column / 2, std::min((column + 1) / 2, side - 1)})
                    sum += original.pixels[(std::size_t{y} * side + x) * 4 + index % 4];
            }
            pixels.push_back(static_cast<std::uint8_t>((sum + 2) / 4));
        }
    }
    result.pixels = std::move(pixels);
    return result;
}

/// The pictures of one icon that are `side` pixels wide, or of all sizes up to 1024 for 0. They have no PNG
/// file.
Representations picturesOf(const std::string& name, std::uint32_t side) {
    Representations pictures;
    for (const std::uint32_t drawn : {16U, 32U, 48U, 128U, 256U})
        pictures.push_back(sampleIcon(name, drawn));
    pictures.push_back(doubled(pictures.back()));
    pictures.push_back(doubled(pictures.back()));
    for (Image::Representation& picture : pictures)
        picture.png = nullptr;
    if (side != 0)
        std::erase_if(pictures, [side](const auto& picture) { return picture.pixelsWide != side; });
    return pictures;
}

/// The same pictures as they are decoded from their PNG files.
Representations pngPicturesOf(const std::string& name, std::uint32_t side) {
    Representations pictures;
    for (const Image::Representation& picture : picturesOf(name, side))
        pictures.push_back(imageFromBytes(*pngFromRepresentation(picture))->representations.front());
    return pictures;
}

/// Plain libpng at level 6, the default of its peers, with nothing set but that.
Bytes libpngFile(const Image::Representation& picture) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    Bytes file;
    const auto append = [](png_structp writing, png_bytep bytes, std::size_t count) {
        static_cast<Bytes*>(png_get_io_ptr(writing))->append(reinterpret_cast<const char*>(bytes), count);
    };
    png_set_write_fn(png, &file, append, nullptr);
    png_set_compression_level(png, 6);
    png_set_IHDR(png, info, picture.pixelsWide, picture.pixelsHigh, 8, PNG_COLOR_TYPE_RGB_ALPHA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (std::size_t row = 0; row < picture.pixelsHigh; ++row)
        png_write_row(png, picture.pixels.data() + row * picture.pixelsWide * 4);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

/// libpng's decoder by its shortest way.
std::vector<std::uint8_t> libpngPixels(const Bytes& file) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    require(png_image_begin_read_from_memory(&image, file.data(), file.size()) != 0, "libpng cannot read");
    image.format = PNG_FORMAT_RGBA;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    require(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0, "libpng cannot read");
    return pixels;
}

/// The file that libicns makes of the pictures; it has JPEG 2000 where we have PNG.
Bytes libicnsFile(const Representations& pictures) {
    icns_family_t* family = nullptr;
    icns_create_family(&family);
    for (const Image::Representation& picture : pictures) {
        icns_image_t image{};
        icns_init_image(picture.pixelsWide, picture.pixelsHigh, 4, 8, &image);
        std::memcpy(image.imageData, picture.pixels.data(), picture.pixels.size());
        const icns_icon_info_t info = icns_get_image_info_for_type(icns_get_type_from_image(image));
        icns_element_t* element = nullptr;
        icns_new_element_from_image(&image, info.iconType, &element);
        icns_set_element_in_family(&family, element);
        std::free(element);
        const icns_type_t maskType = icns_get_mask_type_for_icon_type(info.iconType);
        if (maskType != ICNS_NULL_TYPE && maskType != ICNS_NULL_MASK) {
            icns_image_t mask{};
            icns_init_image_for_type(maskType, &mask);
            for (std::size_t index = 0; index < mask.imageDataSize; ++index)
                mask.imageData[index] = picture.pixels[index * 4 + 3];
            icns_element_t* maskElement = nullptr;
            icns_new_element_from_mask(&mask, maskType, &maskElement);
            icns_set_element_in_family(&family, maskElement);
            std::free(maskElement);
            icns_free_image(&mask);
        }
        icns_free_image(&image);
    }
    icns_size_t size = 0;
    icns_byte_t* bytes = nullptr;
    icns_export_family_data(family, &size, &bytes);
    require(size > 8, "libicns writes nothing");
    const Bytes file(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    std::free(bytes);
    std::free(family);
    return file;
}

/// Reads the pictures of `file` that have the sizes of `pictures`; how many bytes of pixels there were.
std::size_t libicnsPixels(const Bytes& file, const Representations& pictures) {
    icns_family_t* family = nullptr;
    std::vector<icns_byte_t> bytes(file.begin(), file.end());
    icns_import_family_data(static_cast<icns_size_t>(bytes.size()), bytes.data(), &family);
    std::size_t count = 0;
    for (const Image::Representation& picture : pictures) {
        icns_icon_info_t info{};
        info.isImage = 1;
        info.iconWidth = picture.pixelsWide;
        info.iconHeight = picture.pixelsHigh;
        info.iconBitDepth = 32;
        icns_image_t image{};
        icns_get_image32_with_mask_from_family(family, icns_get_type_from_image_info(info), &image);
        count += image.imageDataSize;
        icns_free_image(&image);
    }
    std::free(family);
    return count;
}

std::size_t pixelBytes(const Representations& pictures) {
    std::size_t count = 0;
    for (const Image::Representation& picture : pictures)
        count += picture.pixels.size();
    return count;
}

struct Subject {
    std::string operation;
    std::string name;
    std::uint32_t side;
    /// Does the work once for one icon, and returns how many bytes were written or decoded.
    std::function<std::size_t(std::size_t icon)> work;
};

const std::string iconNames[] = {"brush", "calculator", "chart", "desktop", "mail", "notepad"};

/// The subjects for the icons of one size, all that they need made beforehand.
void addSubjects(std::vector<Subject>& subjects, std::uint32_t side) {
    struct Samples {
        std::vector<Representations> pictures;
        std::vector<Representations> pngPictures;
        std::vector<Representations> keptPictures;
        std::vector<Bytes> files;
    };
    const auto samples = std::make_shared<Samples>();
    for (const std::string& name : iconNames) {
        samples->pictures.push_back(picturesOf(name, side));
        samples->pngPictures.push_back(pngPicturesOf(name, side));
        samples->files.push_back(*icnsWithRepresentations(samples->pictures.back()));
        require(libicnsPixels(samples->files.back(), samples->pictures.back()) ==
                    pixelBytes(samples->pictures.back()),
                "libicns does not read all of the file");
    }
    const auto add = [&subjects, side](const char* operation, const char* name, auto work) {
        subjects.push_back({operation, name, side, work});
    };
    add("from pixels", "ours",
        [samples](std::size_t icon) { return icnsWithRepresentations(samples->pictures[icon])->size(); });
    add("from pixels", "libicns",
        [samples](std::size_t icon) { return libicnsFile(samples->pictures[icon]).size(); });
    add("from pixels", "libpng", [samples](std::size_t icon) {
        std::size_t size = 0;
        for (const Image::Representation& picture : samples->pictures[icon])
            size += libpngFile(picture).size();
        return size;
    });
    // Smaller pictures are packed from pixels, wherever they came from.
    const auto isKeptAsPNG = [](const Image::Representation& picture) { return picture.pixelsWide >= 256; };
    for (Representations& pictures : samples->pngPictures)
        std::ranges::copy_if(pictures, std::back_inserter(samples->keptPictures.emplace_back()), isKeptAsPNG);
    if (!samples->keptPictures.front().empty()) {
        add("from PNG", "ours", [samples](std::size_t icon) {
            return icnsWithRepresentations(samples->keptPictures[icon])->size();
        });
        add("from PNG", "memcpy", [samples](std::size_t icon) {
            std::size_t size = 0;
            for (const Image::Representation& picture : samples->keptPictures[icon])
                size += picture.png->size();
            const auto copy = std::make_unique_for_overwrite<char[]>(size);
            char* target = copy.get();
            for (const Image::Representation& picture : samples->keptPictures[icon]) {
                std::memcpy(target, picture.png->data(), picture.png->size());
                target += picture.png->size();
            }
            benchmark::DoNotOptimize(copy.get());
            benchmark::ClobberMemory();
            return size;
        });
    }
    add("read", "ours", [samples](std::size_t icon) {
        return pixelBytes(imageFromICNS(samples->files[icon])->representations);
    });
    add("read", "libicns",
        [samples](std::size_t icon) { return libicnsPixels(samples->files[icon], samples->pictures[icon]); });
    add("read", "libpng", [samples](std::size_t icon) {
        std::size_t size = 0;
        for (const Image::Representation& picture : samples->pngPictures[icon])
            size += libpngPixels(*picture.png).size();
        return size;
    });
}

void registerAll() {
    std::vector<Subject> subjects;
    for (const std::uint32_t side : {16U, 128U, 256U, 512U, 1024U, 0U})
        addSubjects(subjects, side);
    // Sizes have their turns one after the other, their subjects in turn.
    for (std::size_t first = 0; first < subjects.size();) {
        std::size_t end = first;
        while (end < subjects.size() && subjects[end].side == subjects[first].side)
            ++end;
        for (int round = 0; round < 7; ++round) {
            for (std::size_t index = first; index < end; ++index) {
                const Subject& subject = subjects[index];
                const std::string side = subject.side == 0 ? "16 to 1024" : std::to_string(subject.side);
                const auto run = [subject](benchmark::State& state) {
                    std::size_t bytes = 0;
                    for ([[maybe_unused]] auto _ : state) {
                        bytes = 0;
                        for (std::size_t icon = 0; icon < std::size(iconNames); ++icon)
                            bytes += subject.work(icon);
                    }
                    state.counters["bytes"] = static_cast<double>(bytes);
                };
                benchmark::RegisterBenchmark((subject.operation + "/" + subject.name + "/" + side).c_str(),
                                             run)
                    ->MinTime(0.05)
                    ->Unit(benchmark::kMillisecond);
            }
        }
        first = end;
    }
}

} // namespace
} // namespace mox

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::AddCustomContext("columns", "pixels");
    mox::registerAll();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
