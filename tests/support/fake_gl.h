#pragma once

#include "gui/gl_api.h"
#include "platform/window_system.h"

#include <array>
#include <climits>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// One call of a GL function: its name without "gl" and its arguments as numbers. Pointers to pixels,
/// vertices and results count as 0, an offset counts as itself, and the names that a Delete function gets
/// follow their count.
struct ktGlCall {
    std::string name;
    std::vector<double> arguments;
    std::string text;          ///< of ShaderSource and GetUniformLocation
    std::vector<uint8_t> data; ///< bytes that went to a buffer or a texture

    friend bool operator==(const ktGlCall &a, const ktGlCall &b) {
        return a.name == b.name && a.arguments == b.arguments;
    }
    friend std::ostream &operator<<(std::ostream &out, const ktGlCall &call) {
        out << call.name << '(';
        for (size_t i = 0; i < call.arguments.size(); ++i) out << (i == 0 ? "" : ", ") << call.arguments[i];
        out << ')';
        return call.text.empty() ? out : out << " \"" << call.text << '"';
    }
};

/// A context without a display: its functions write down what they are called with. One lives at a time. The
/// functions may be called from one thread while another one looks at Calls.
class ktFakeGl {
public:
    ktFakeGl() {
        Current() = this;
        FillTable();
    }
    ~ktFakeGl() { Current() = nullptr; }
    ktFakeGl(const ktFakeGl &) = delete;
    ktFakeGl &operator=(const ktFakeGl &) = delete;

    /// Calls so far, in order.
    std::vector<ktGlCall> Calls() const {
        const std::lock_guard lock(mutex);
        return calls;
    }
    std::vector<ktGlCall> CallsOf(const std::string &name) const {
        const std::lock_guard lock(mutex);
        std::vector<ktGlCall> found;
        for (const ktGlCall &call : calls)
            if (call.name == name) found.push_back(call);
        return found;
    }
    void Forget() {
        const std::lock_guard lock(mutex);
        calls.clear();
    }
    /// Writes down a call that is none of GL.
    void Note(const char *name, std::vector<double> arguments = {}) {
        Add({name, std::move(arguments), {}, {}});
    }
    /// Address of the function with that full name, null for an unknown one.
    void *Find(const std::string &fullName) const {
        const auto found = functions.find(fullName);
        return found == functions.end() ? nullptr : found->second;
    }
    /// Location that uniforms of that name get, in every program.
    int32_t UniformLocation(const std::string &name) {
        const std::lock_guard lock(mutex);
        return LocationOf(name);
    }

    ktGlApi api;                     ///< complete from the start
    bool record = true;              ///< without it nothing is written down, and no call allocates
    bool gives_names = true;         ///< without it Gen and Create functions give 0
    std::set<uint32_t> bad_shaders;  ///< kinds that do not compile
    bool links = true;               ///< programs link
    int good_links = INT_MAX;        ///< programs that link before the first that does not
    int good_objects = INT_MAX;      ///< objects that Gen functions make before they give 0
    std::string log = "it is wrong"; ///< what a failure leaves in the info log

private:
    static constexpr size_t mostCalls = 200000; ///< later ones are not written down

    struct ktArgument {
        double number = 0;
        const void *pointer = nullptr;
    };

    static ktFakeGl *&Current() {
        static ktFakeGl *current = nullptr;
        return current;
    }

    template <class T>
    static ktArgument ArgumentFrom(T value) {
        if constexpr (std::is_pointer_v<T>) {
            return {0, static_cast<const void *>(value)};
        } else {
            return {static_cast<double>(value), nullptr};
        }
    }

    template <class Tag, class Function>
    struct ktFunction;
    template <class Tag, class Result, class... Arguments>
    struct ktFunction<Tag, Result (*)(Arguments...)> {
        static Result Call(Arguments... values) {
            const std::array<ktArgument, sizeof...(Arguments) + 1> list{ArgumentFrom(values)...};
            const uint32_t result = Current()->OnCall(Tag::Name(), list.data(), sizeof...(Arguments));
            if constexpr (!std::is_void_v<Result>) return static_cast<Result>(result);
        }
    };

    void FillTable(){
#define KT_FAKE_GL(result, function, parameters)                                                             \
    {                                                                                                        \
        struct ktTag {                                                                                       \
            static const char *Name() { return #function; }                                                  \
        };                                                                                                   \
        api.function = ktFunction<ktTag, decltype(api.function)>::Call;                                      \
        functions["gl" #function] = reinterpret_cast<void *>(api.function);                                  \
    }
        KT_GL_FUNCTIONS(KT_FAKE_GL)
#undef KT_FAKE_GL
    }

    uint32_t OnCall(std::string_view name, const ktArgument *values, size_t count) {
        const std::lock_guard lock(mutex);
        if (name.starts_with("Gen"))
            for (int i = 0; i < int(values[0].number); ++i)
                Out<uint32_t>(values[1])[i] = good_objects-- > 0 ? NextName() : 0;
        if (!record) return name.starts_with("Create") ? NextName() : 0;
        ktGlCall call{std::string(name), {}, {}, {}};
        for (size_t i = 0; i < count; ++i) call.arguments.push_back(values[i].number);
        const uint32_t result = Answer(call, values);
        Keep(std::move(call));
        return result;
    }

    /// Does what the caller relies on.
    uint32_t Answer(ktGlCall &call, const ktArgument *values) {
        const std::string &name = call.name;
        if (name.starts_with("Delete") && call.arguments.size() == 2) {
            call.arguments.pop_back();
            for (int i = 0; i < int(values[0].number); ++i)
                call.arguments.push_back(static_cast<const uint32_t *>(values[1].pointer)[i]);
        } else if (name == "CreateShader") {
            const uint32_t shader = NextName();
            shaderKinds[shader] = uint32_t(values[0].number);
            return shader;
        } else if (name == "CreateProgram") {
            return NextName();
        } else if (name == "GetShaderiv") {
            *Out<int32_t>(values[2]) = bad_shaders.contains(shaderKinds[uint32_t(values[0].number)]) ? 0 : 1;
        } else if (name == "GetProgramiv") {
            *Out<int32_t>(values[2]) = links && good_links-- > 0 ? 1 : 0;
        } else if (name.ends_with("InfoLog")) {
            // As a driver does: cut to the size, and terminated.
            const size_t room = static_cast<size_t>(values[1].number);
            if (room != 0) Out<char>(values[3])[log.copy(Out<char>(values[3]), room - 1)] = 0;
        } else if (name == "GetUniformLocation") {
            call.text = static_cast<const char *>(values[1].pointer);
            return static_cast<uint32_t>(LocationOf(call.text));
        } else if (name == "ShaderSource") {
            const auto *texts = static_cast<const char *const *>(values[2].pointer);
            const auto *lengths = static_cast<const int32_t *>(values[3].pointer);
            for (int i = 0; i < int(values[1].number); ++i)
                call.text +=
                    lengths == nullptr ? std::string(texts[i]) : std::string(texts[i], size_t(lengths[i]));
        } else if (name == "BufferData") {
            KeepData(call, values[2].pointer, values[1].number);
        } else if (name == "BufferSubData") {
            KeepData(call, values[3].pointer, values[2].number);
        } else if (name == "TexImage2D") {
            KeepPixels(call, values[8].pointer, values[3].number * values[4].number, values[6].number);
        } else if (name == "TexSubImage2D") {
            KeepPixels(call, values[8].pointer, values[4].number * values[5].number, values[6].number);
        } else if (name == "DrawElements") {
            call.arguments[3] = double(reinterpret_cast<uintptr_t>(values[3].pointer));
        } else if (name == "VertexAttribPointer") {
            call.arguments[5] = double(reinterpret_cast<uintptr_t>(values[5].pointer));
        }
        return 0;
    }

    template <class T>
    static T *Out(const ktArgument &argument) {
        return static_cast<T *>(const_cast<void *>(argument.pointer));
    }
    uint32_t NextName() { return gives_names ? ++lastName : 0; }
    int32_t LocationOf(const std::string &name) {
        return locations.try_emplace(name, int32_t(locations.size()) + 100).first->second;
    }
    static void KeepData(ktGlCall &call, const void *data, double size) {
        if (data == nullptr || size <= 0) return;
        const auto *bytes = static_cast<const uint8_t *>(data);
        call.data.assign(bytes, bytes + size_t(size));
    }
    static void KeepPixels(ktGlCall &call, const void *pixels, double count, double format) {
        KeepData(call, pixels, count * (uint32_t(format) == ktGlRed ? 1 : 4));
    }
    void Add(ktGlCall call) {
        const std::lock_guard lock(mutex);
        Keep(std::move(call));
    }
    void Keep(ktGlCall call) {
        if (record && calls.size() < mostCalls) calls.push_back(std::move(call));
    }

    mutable std::mutex mutex;
    std::vector<ktGlCall> calls;
    std::map<std::string, void *> functions;
    std::map<std::string, int32_t> locations;
    std::map<uint32_t, uint32_t> shaderKinds;
    uint32_t lastName = 0;
};

/// The surface of a window that is not there, around a ktFakeGl. Its own calls are written down among GL's:
/// CreateContext, SetSwapInterval(n), Swap, DestroyContext.
class ktFakeGlSurface final : public ktGlSurface {
public:
    explicit ktFakeGlSurface(ktFakeGl &newGl) : gl(newGl) {}

    bool CreateContext() override {
        gl.Note("CreateContext");
        return has_context;
    }
    void *Resolve(const char *name) override { return name == lacking ? nullptr : gl.Find(name); }
    bool SetSwapInterval(int interval) override {
        gl.Note("SetSwapInterval", {double(interval)});
        return has_swap_interval;
    }
    void Swap() override {
        gl.Note("Swap");
        if (on_swap) on_swap();
    }
    void DestroyContext() override { gl.Note("DestroyContext"); }

    ktFakeGl &gl;
    bool has_context = true;       ///< what CreateContext gives
    bool has_swap_interval = true; ///< what SetSwapInterval gives
    std::string lacking;           ///< full name of a function that the driver lacks
    std::function<void()> on_swap; ///< called on the render thread at the end of each Swap
};
