#include "gui/resize_icon.h"

#include "gui/draw_list.h"

ktResizeIcon::ktResizeIcon() {
    w = 25;
    h = 25;
}

bool ktResizeIcon::Draw(ktDrawList &list) {
    const int16_t left = static_cast<int16_t>(x + 4);
    const int16_t right = static_cast<int16_t>(x + w - 4);
    const int16_t top = static_cast<int16_t>(y + 4);
    const int16_t bottom = static_cast<int16_t>(y + h - 4);
    const int16_t corners[3][2] = {{right, top}, {right, bottom}, {left, bottom}};
    const ktColor color = back.current;
    if (triangle_first == -1) {
        triangle_first = list.AddTriangle(corners, color); // -1 again when the batch is full
        return triangle_first != -1;
    }
    ktFlatVertex *vertices = list.triangles.FlatAt(triangle_first);
    for (size_t at = 0; at < 3; ++at) vertices[at] = {corners[at][0], corners[at][1], color};
    return true;
}

bool ktResizeIcon::OnHoverEnter() {
    back.Enter();
    return true;
}

bool ktResizeIcon::OnHoverLeave() {
    back.Leave();
    return true;
}
