#include "platform/font_file.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <memory>

namespace {

template <auto Destroy>
struct Deleter {
    template <class T>
    void operator()(T *what) const {
        Destroy(what);
    }
};
using Config = std::unique_ptr<FcConfig, Deleter<FcConfigDestroy>>;
using Pattern = std::unique_ptr<FcPattern, Deleter<FcPatternDestroy>>;
using FontSet = std::unique_ptr<FcFontSet, Deleter<FcFontSetDestroy>>;
using CharSet = std::unique_ptr<FcCharSet, Deleter<FcCharSetDestroy>>;
using ObjectSet = std::unique_ptr<FcObjectSet, Deleter<FcObjectSetDestroy>>;

/// The faces whose metrics are closest to what the layouts were made for.
constexpr const char *preferredFamilies[] = {"mononoki", "DejaVu Sans Mono"};

void AddOnce(const std::string &file, std::vector<std::string> &files) {
    if (std::find(files.begin(), files.end(), file) == files.end()) files.push_back(file);
}

/// All printable characters that are drawn.
CharSet WantedCharacters() {
    CharSet characters(FcCharSetCreate());
    for (FcChar32 character = ' '; character <= '~'; ++character)
        FcCharSetAddChar(characters.get(), character);
    return characters;
}

/// Files of upright faces of normal weight and width that `pattern` matches, by name. Only the first face of
/// a file counts, since a file's name is all that is told.
std::vector<std::string> FilesOf(const Config &config, const Pattern &pattern) {
    std::vector<std::string> files;
    FcPatternAddCharSet(pattern.get(), FC_CHARSET, WantedCharacters().get());
    FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
    FcPatternAddInteger(pattern.get(), FC_SLANT, FC_SLANT_ROMAN);
    FcPatternAddInteger(pattern.get(), FC_WEIGHT, FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern.get(), FC_INDEX, 0);
    const ObjectSet wanted(FcObjectSetBuild(FC_FILE, nullptr));
    const FontSet found(FcFontList(config.get(), pattern.get(), wanted.get()));
    for (int at = 0; found && at < found->nfont; ++at) {
        FcChar8 *file = nullptr;
        if (FcPatternGetString(found->fonts[at], FC_FILE, 0, &file) == FcResultMatch) {
            AddOnce(reinterpret_cast<const char *>(file), files);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

std::vector<std::string> MonospacedFontFiles() {
    std::vector<std::string> files;
    // A configuration of its own: nothing is left behind in the process.
    const Config config(FcInitLoadConfigAndFonts());
    if (!config) return files;
    for (const char *family : preferredFamilies) {
        const Pattern pattern(FcPatternCreate());
        FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8 *>(family));
        for (const std::string &file : FilesOf(config, pattern)) AddOnce(file, files);
    }
    const Pattern pattern(FcPatternCreate());
    FcPatternAddInteger(pattern.get(), FC_SPACING, FC_MONO);
    for (const std::string &file : FilesOf(config, pattern)) AddOnce(file, files);
    return files;
}
