#pragma once

/// The shaders' texts. Every program takes the size of the target in `res_x` and `res_y`; its fragment shader
/// takes in `gs_coef` how grey it is to be, from 0 to 1. The text and the image program take an offset in
/// pixels in `off_x` and `off_y`, and sample texture unit 0.
extern const char *const ktFlatVertexSource;
extern const char *const ktFlatFragmentSource;
extern const char *const ktTexturedVertexSource; ///< of text and images
extern const char *const ktTextFragmentSource;
extern const char *const ktImageFragmentSource;
