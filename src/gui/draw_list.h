#pragma once

#include "gui/color.h"
#include "gui/draw_batch.h"
#include "gui/texture.h"

#include <cstdint>
#include <map>
#include <memory>

class ktFont;
struct ktGlApi;
struct ktShaderProgram;

/// Capacities of a window's batches, in vertices.
constexpr uint32_t ktFlatVertices = 1000;
constexpr uint32_t ktTextVertices = 200000;
constexpr uint32_t ktImageVertices = 10;

/// What one window draws in a frame: filled triangles, lines, text, and a small batch for each image.
/// Triangles and lines are retained: a component appends once and rewrites its vertices in place afterwards.
/// Text is cleared and appended anew in each frame. All on the render thread but Reserve and Free.
/// Coordinates are window pixels from the top left and are stored in 16 bits. `first` results are the first
/// vertex's number, -1 when nothing was added.
class ktDrawList {
public:
    ktDrawList() = default;
    ~ktDrawList();
    ktDrawList(const ktDrawList &) = delete;
    ktDrawList &operator=(const ktDrawList &) = delete;

    /// Reserves the three batches. False, with nothing held, without memory.
    bool Reserve(uint32_t textVertices = ktTextVertices);
    /// Frees the image batches, empties both maps, and frees the three batches.
    void Free();
    /// The GL objects of the three batches. False, with none left, when one cannot be made.
    bool CreateGlObjects(const ktGlApi &api);
    /// Those of the image batches as well. Nothing without GL objects.
    void DeleteGlObjects();

    int32_t AddRect(uint16_t x, uint16_t y, uint16_t w, uint16_t h, ktColor color);
    int32_t AddLine(uint16_t x0, uint16_t y0, uint16_t x1, uint16_t y1, ktColor color);
    /// Two diagonals of a square of `size` pixels.
    int32_t AddCross(uint16_t centreX, uint16_t centreY, int16_t size, ktColor color);
    /// Four lines round 8 by 10 pixels.
    int32_t AddOutlineBox(uint16_t x, uint16_t y, ktColor color);
    void MoveOutlineBox(int32_t first, uint16_t x, uint16_t y, ktColor color);
    /// Three corners.
    int32_t AddTriangle(const int16_t (&corners)[3][2], ktColor color);
    /// The number counts within that texture's own batch, which is made at the texture's first use. `texture`
    /// must live until Free. -1 for no texture, and for one whose batch cannot be made.
    int32_t AddImage(uint16_t x, uint16_t y, uint32_t w, uint16_t h, const ktTexture *texture);

    /// AddRect at first use, when `first` is -1; afterwards the same vertices are written again in place.
    void PutRect(int32_t &first, uint32_t x, uint32_t y, uint32_t w, uint32_t h, ktColor color);
    /// The same for a line.
    void PutLine(int32_t &first, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1, ktColor color);
    /// The same for a cross.
    void PutCross(int32_t &first, uint32_t centreX, uint32_t centreY, int16_t size, ktColor color);

    /// One quad for each byte of `text`, at most `maxLength` bytes of it (0 for all), with the pen starting
    /// at x and the baseline at y - 3 + the line height. Line ends are passed over, a tab is four spaces,
    /// what the font lacks shows as '?'. Ends early when the batch is full.
    int32_t AddText(uint16_t x, uint16_t y, const char *text, uint32_t maxLength, ktColor color);
    /// Colours `count` glyphs from glyph `start` of the text that begins at vertex `first`.
    void RecolourText(int32_t first, uint32_t start, uint32_t count, ktColor color);

    /// Uploads all batches and draws them: triangles, lines, images by ascending texture name, text. Nothing
    /// without GL objects or without the flat and the text program.
    void Flush() const;

    int32_t off_x = 0;
    int32_t off_y = 0;
    int16_t tab_width = 4; ///< advances of a space
    bool clip_on = false;  ///< text is clipped to the rectangle below
    int16_t clip_x = 0;
    int16_t clip_y = 0;
    int16_t clip_w = 0;
    int16_t clip_h = 0;
    ktDrawBatch triangles;
    ktDrawBatch lines;
    ktDrawBatch text;
    std::map<uint32_t, std::unique_ptr<ktDrawBatch>> image_batches; ///< by GL texture name
    std::map<uint32_t, const ktTexture *> image_textures;           ///< the same names
    const ktShaderProgram *flat_program = nullptr;                  ///< set by the renderer before each Draw
    const ktShaderProgram *text_program = nullptr;
    const ktShaderProgram *image_program = nullptr;
    const ktFont *font = nullptr;
    uint32_t res_x = 0; ///< size of the render target, set before each Draw
    uint32_t res_y = 0;
    const ktGlApi *gl = nullptr; ///< null while there are no GL objects

private:
    ktDrawBatch *ImageBatch(const ktTexture &texture);
    void DrawImages() const;
    void DrawAllText() const;
};
