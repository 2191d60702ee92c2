#include "gui/shader_sources.h"

#define KT_GLSL_VERSION "#version 330 core\n"

/// Attributes of every vertex, and the way from pixels with y downwards to the clip space.
#define KT_GLSL_VERTEX                                                                                       \
    "layout (location = 0) in vec2 aPos;\n"                                                                  \
    "layout (location = 1) in vec4 aColor;\n"                                                                \
    "uniform float res_x;\n"                                                                                 \
    "uniform float res_y;\n"                                                                                 \
    "vec4 Position(vec2 offset) {\n"                                                                         \
    "    float x = ((aPos.x + offset.x) / res_x) * 2.0 - 1.0;\n"                                             \
    "    float y = (1.0 - (aPos.y + offset.y) / res_y) * 2.0 - 1.0;\n"                                       \
    "    return vec4(x, y, 1.0, 1.0);\n"                                                                     \
    "}\n"

/// A colour, drawn towards the grey of its brightness, with the alpha that it had.
#define KT_GLSL_TONED                                                                                        \
    "uniform float gs_coef;\n"                                                                               \
    "out vec4 FragColor;\n"                                                                                  \
    "vec4 Toned(vec4 color) {\n"                                                                             \
    "    float average = 0.2126 * color.r + 0.7152 * color.g + 0.0722 * color.b;\n"                          \
    "    vec4 toned = mix(color, vec4(average, average, average, 1.0), gs_coef);\n"                          \
    "    return vec4(toned.rgb, color.a);\n"                                                                 \
    "}\n"

#define KT_GLSL_TEXTURED_INPUT                                                                               \
    "in vec4 ourColor;\n"                                                                                    \
    "in vec2 TexCoord;\n"

const char *const ktFlatVertexSource = KT_GLSL_VERSION KT_GLSL_VERTEX R"(
out vec4 argColor;
void main() {
    gl_Position = Position(vec2(0.0, 0.0));
    argColor = aColor;
}
)";

const char *const ktFlatFragmentSource = KT_GLSL_VERSION KT_GLSL_TONED R"(
in vec4 argColor;
void main() {
    FragColor = Toned(argColor);
}
)";

const char *const ktTexturedVertexSource = KT_GLSL_VERSION KT_GLSL_VERTEX R"(
layout (location = 2) in vec2 aTexCoord;
uniform float off_x;
uniform float off_y;
out vec4 ourColor;
out vec2 TexCoord;
void main() {
    gl_Position = Position(vec2(off_x, off_y));
    ourColor = aColor;
    TexCoord = aTexCoord;
}
)";

const char *const ktTextFragmentSource = KT_GLSL_VERSION KT_GLSL_TONED KT_GLSL_TEXTURED_INPUT R"(
uniform sampler2D text;
void main() {
    FragColor = Toned(ourColor) * vec4(1.0, 1.0, 1.0, texture(text, TexCoord).r);
}
)";

// An image's pixel is the word 0x00RRGGBB, uploaded as blue, green, red, alpha from the top byte down: what
// GL takes for green is the red, and so on.
const char *const ktImageFragmentSource = KT_GLSL_VERSION KT_GLSL_TONED KT_GLSL_TEXTURED_INPUT R"(
uniform sampler2D image;
void main() {
    vec4 s = texture(image, vec2(TexCoord.x, 1.0 - TexCoord.y));
    FragColor = Toned(ourColor) * vec4(s.g, s.r, s.a, 1.0);
}
)";
