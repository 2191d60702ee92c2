#include "gui/component.h"

#include <cstdint>
#include <initializer_list>

#include <gtest/gtest.h>

#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/key_event.h"

namespace {

class Plain final : public ktComponent {
public:
    uint32_t GetKind() const override { return ktKindTextView; }
};

TEST(Component, IsVisibleWithoutFontAndPlaceAtFirst) {
    const Plain component;
    EXPECT_TRUE(component.visible);
    EXPECT_EQ(component.GetFont(), nullptr);
    for (const uint32_t field : {component.x.Get(), component.y.Get(), component.w.Get(), component.h.Get(),
                                 component.reserved[0], component.reserved[1]})
        EXPECT_EQ(field, 0u);
}

TEST(Component, ThePointOnAnEdgeIsOutside) {
    Plain component;
    component.SetRect(10, 20, 30, 40);
    EXPECT_FALSE(component.HitTest(10, 30));
    EXPECT_TRUE(component.HitTest(11, 30));
    EXPECT_TRUE(component.HitTest(39, 30));
    EXPECT_FALSE(component.HitTest(40, 30));
    EXPECT_FALSE(component.HitTest(20, 20));
    EXPECT_TRUE(component.HitTest(20, 21));
    EXPECT_TRUE(component.HitTest(20, 59));
    EXPECT_FALSE(component.HitTest(20, 60));
}

TEST(Component, WithoutASizeNothingHits) {
    Plain component;
    component.SetRect(10, 20, 0, 0);
    EXPECT_FALSE(component.HitTest(10, 20));
}

TEST(Component, LeftOfItsWindowItIsHitWhereItShows) {
    Plain component;
    component.SetRect(static_cast<uint32_t>(-20), 0, 40, 30);
    EXPECT_TRUE(component.HitTest(5, 5));
    EXPECT_FALSE(component.HitTest(20, 5));
    EXPECT_TRUE(component.HitTest(-19, 5));
}

TEST(Component, TheLargestSizeDoesNotWrap) {
    Plain component;
    component.SetRect(100, 100, UINT32_MAX, UINT32_MAX);
    EXPECT_TRUE(component.HitTest(INT32_MAX, INT32_MAX));
    EXPECT_FALSE(component.HitTest(INT32_MIN, INT32_MIN));
}

TEST(Component, ConsumesNothingByItself) {
    Plain component;
    component.SetRect(0, 0, 100, 100);
    ktDrawList list;
    EXPECT_FALSE(component.Draw(list));
    EXPECT_FALSE(component.OnLeftDown(1, 1));
    EXPECT_FALSE(component.OnLeftUp(1, 1));
    EXPECT_FALSE(component.OnRightDown(1, 1));
    EXPECT_FALSE(component.OnRightUp(1, 1));
    EXPECT_FALSE(component.OnKey(ktKeyEvent()));
    EXPECT_FALSE(component.SetPressed(true));
    EXPECT_FALSE(component.OnMouseMove(1, 1));
    EXPECT_FALSE(component.OnWheel(true));
    EXPECT_FALSE(component.OnHoverEnter());
    EXPECT_FALSE(component.OnHoverLeave());
    EXPECT_FALSE(component.SetFocus(true));
}

TEST(Component, KeepsTheFontItIsGiven) {
    const ktFont font;
    Plain component;
    component.SetFont(&font);
    EXPECT_EQ(component.GetFont(), &font);
    component.SetFont(nullptr);
    EXPECT_EQ(component.GetFont(), nullptr);
}

} // namespace
