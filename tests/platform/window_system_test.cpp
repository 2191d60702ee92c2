#include "platform/window_system.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

class NoMessages final : public ktMessageHandler {
public:
    void OnMessage(const ktNativeMessage &) override { FAIL() << "a message without a window"; }
};

/// The display that the environment names is another one, or none, while this lives.
class DisplayName {
public:
    explicit DisplayName(const char *name) {
        if (const char *const old = std::getenv("DISPLAY")) before = old;
        if (name) {
            setenv("DISPLAY", name, 1);
        } else {
            unsetenv("DISPLAY");
        }
    }
    ~DisplayName() {
        if (before) {
            setenv("DISPLAY", before->c_str(), 1);
        } else {
            unsetenv("DISPLAY");
        }
    }
    DisplayName(const DisplayName &) = delete;
    DisplayName &operator=(const DisplayName &) = delete;

private:
    std::optional<std::string> before;
};

} // namespace

TEST(WindowSystem, WithoutADisplayItSaysSo) {
    const DisplayName none(nullptr);
    EXPECT_FALSE(SystemWindows().Open());
    EXPECT_EQ(SystemWindows().Problem(), "there is no display: DISPLAY is not set");
    EXPECT_FALSE(SystemWindows().Open());
}

TEST(WindowSystem, ADisplayThatDoesNotAnswerIsNamed) {
    const DisplayName other(":54321");
    EXPECT_FALSE(SystemWindows().Open());
    EXPECT_EQ(SystemWindows().Problem(), "the display :54321 cannot be opened");
}

TEST(WindowSystem, BeforeItIsOpenNothingIsHadFromIt) {
    ktWindowSystem &windows = SystemWindows();
    NoMessages handler;
    std::vector<ktMonitorArea> monitors(1);
    std::string text = "old";
    uint32_t w = 1;
    uint32_t h = 1;
    EXPECT_EQ(windows.CreateWindow("title", 0, 0, 100, 100, handler), nullptr);
    EXPECT_FALSE(windows.Monitors(monitors));
    EXPECT_TRUE(monitors.empty());
    windows.ScreenSize(w, h);
    EXPECT_EQ(w, 0u);
    EXPECT_EQ(h, 0u);
    EXPECT_FALSE(windows.SetClipboardText("text"));
    EXPECT_FALSE(windows.GetClipboardText(text));
    EXPECT_EQ(text, "");
    windows.PostQuit();
    windows.RunLoop(); // returns at once
    windows.Close();
    windows.Close();
}

TEST(WindowSystem, WithoutADisplayAnErrorIsALineInsteadOfABox) {
    testing::internal::CaptureStderr();
    SystemWindows().ShowError("Error", "Cannot find a suitable pixel format.");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Cannot find a suitable pixel format.\n");
}
