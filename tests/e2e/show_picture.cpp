// Opens the debugger's windows on the page of the target's display and shows it pictures of four coloured
// quarters: the first at once, and one more, with the colours turned by a quarter, for each line of standard
// input. Ends with the window.
#include "views/gui.h"

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr uint64_t width = 640;
constexpr uint64_t height = 360;
constexpr uint32_t quarters[] = {0xFF8000, 0x00C040, 0x2060FF, 0xF0E0D0}; // 0xRRGGBB, clockwise

/// Quarter 0 of a picture, at the top left, is `quarters[turn]`.
std::unique_ptr<uint8_t[]> Picture(uint32_t turn) {
    auto pixels = std::make_unique<uint8_t[]>(width * height * 4);
    for (uint64_t at = 0; at < width * height; ++at) {
        const bool isRight = at % width >= width / 2;
        const bool isLow = at / width >= height / 2;
        const uint32_t place = isLow ? (isRight ? 2 : 3) : (isRight ? 1 : 0);
        const uint32_t color = quarters[(place + turn) % 4];
        for (uint32_t byte = 0; byte < 3; ++byte)
            pixels[at * 4 + byte] = static_cast<uint8_t>(color >> (8 * byte));
    }
    return pixels;
}

} // namespace

int main() {
    ktGui gui;
    if (!gui.Start()) {
        std::fprintf(stderr, "%s\n", gui.Problem().c_str());
        return 1;
    }
    gui.Show(*gui.tv_window);
    ktImageView &view = gui.tv_window->image_view;
    view.SetFrame(Picture(0), width, height);
    std::thread reader([&view] {
        std::string line;
        for (uint32_t turn = 1; std::getline(std::cin, line); ++turn)
            view.SetFrame(Picture(turn), width, height);
    });
    gui.RunMessageLoop();
    reader.join();
    gui.Stop();
    return 0;
}
