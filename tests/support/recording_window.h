#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gui/component.h"
#include "gui/key_event.h"
#include "gui/window.h"
#include "gui/window_set.h"

/// What happened to components and windows, in order, each entry after the name of whom it happened to.
using ktEventLog = std::vector<std::string>;

/// Writes calls down under a name, and answers what it is told to.
class ktEventNotes {
public:
    ktEventNotes(ktEventLog &newLog, const char *newName) : log(newLog), name(newName) {}

    bool answer = false;

protected:
    bool Note(const std::string &what) {
        log.push_back(name + ' ' + what);
        return answer;
    }
    bool NoteAt(const char *what, int32_t px, int32_t py) {
        return Note(std::string(what) + ' ' + std::to_string(px) + ' ' + std::to_string(py));
    }

private:
    ktEventLog &log;
    std::string name;
};

/// A component that notes what happens to it.
class ktRecordingComponent final : public ktComponent, public ktEventNotes {
public:
    ktRecordingComponent(ktEventLog &newLog, const char *newName, uint32_t newX, uint32_t newY, uint32_t newW,
                         uint32_t newH)
        : ktEventNotes(newLog, newName) {
        SetRect(newX, newY, newW, newH);
    }
    uint32_t GetKind() const override { return ktKindButton; }
    bool Draw(ktDrawList &) override { return Note("Draw"); }
    bool OnLeftDown(int32_t px, int32_t py) override { return NoteAt("OnLeftDown", px, py); }
    bool OnLeftUp(int32_t px, int32_t py) override { return NoteAt("OnLeftUp", px, py); }
    bool OnRightDown(int32_t px, int32_t py) override { return NoteAt("OnRightDown", px, py); }
    bool OnRightUp(int32_t px, int32_t py) override { return NoteAt("OnRightUp", px, py); }
    bool OnKey(const ktKeyEvent &event) override { return Note("OnKey " + std::to_string(event.key)); }
    bool SetPressed(bool pressed) override { return Note(pressed ? "SetPressed 1" : "SetPressed 0"); }
    bool OnMouseMove(int32_t px, int32_t py) override { return NoteAt("OnMouseMove", px, py); }
    bool OnWheel(bool down) override { return Note(down ? "OnWheel 1" : "OnWheel 0"); }
    bool OnHoverEnter() override { return Note("OnHoverEnter"); }
    bool OnHoverLeave() override { return Note("OnHoverLeave"); }
    bool SetFocus(bool focused) override { return Note(focused ? "SetFocus 1" : "SetFocus 0"); }
};

/// The same for a window.
class ktRecordingWindow final : public ktWindow, public ktEventNotes {
public:
    ktRecordingWindow(ktEventLog &newLog, const char *newName) : ktEventNotes(newLog, newName) {
        w = 1000;
        h = 1000;
    }
    bool OnLeftDown(int32_t px, int32_t py) override { return NoteAt("OnLeftDown", px, py); }
    bool OnLeftUp(int32_t px, int32_t py) override { return NoteAt("OnLeftUp", px, py); }
    bool OnRightDown(int32_t px, int32_t py) override { return NoteAt("OnRightDown", px, py); }
    bool OnRightUp(int32_t px, int32_t py) override { return NoteAt("OnRightUp", px, py); }
    bool OnMouseMove(int32_t px, int32_t py) override { return NoteAt("OnMouseMove", px, py); }
    bool OnWheel(bool down) override { return Note(down ? "OnWheel 1" : "OnWheel 0"); }
    bool OnKey(const ktKeyEvent &event) override {
        lastKey = event;
        return Note("OnKey " + std::to_string(event.key));
    }
    bool OnHotKey(const ktKeyEvent &event) override { return Note("OnHotKey " + std::to_string(event.key)); }
    void SetSize(uint32_t newW, uint32_t newH) override {
        ktWindow::SetSize(newW, newH);
        Note("SetSize " + std::to_string(newW) + ' ' + std::to_string(newH));
    }

    ktKeyEvent lastKey; ///< of the last OnKey
};

/// A set of windows by itself.
class ktPlainWindowSet final : public ktWindowSet {};
