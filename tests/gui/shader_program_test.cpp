#include "gui/shader_program.h"

#include "gui/shader_sources.h"
#include "support/fake_gl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> Names(const ktFakeGl &gl) {
    std::vector<std::string> names;
    for (const ktGlCall &call : gl.Calls()) names.push_back(call.name);
    return names;
}

using Strings = std::vector<std::string>;

void ExpectNothingLeft(const ktShaderProgram &program) {
    EXPECT_EQ(program.vertex_shader + program.fragment_shader + program.program + program.linked, 0u);
    EXPECT_EQ(program.vertex_status + program.fragment_status, 0u);
    EXPECT_EQ(program.vertex_length + program.fragment_length, 0u);
    EXPECT_TRUE(program.vertex_source.empty());
    EXPECT_TRUE(program.fragment_source.empty());
}

} // namespace

TEST(GlApi, FindsEveryFunctionByItsName) {
    ktFakeGl gl;
    ktFakeGlSurface surface(gl);
    ktGlApi api;
    EXPECT_TRUE(api.Load(surface));
#define KT_EXPECT_SAME(result, name, parameters) EXPECT_EQ(api.name, gl.api.name) << #name;
    KT_GL_FUNCTIONS(KT_EXPECT_SAME)
#undef KT_EXPECT_SAME
}

TEST(GlApi, KeepsNothingWhenTheDriverLacksAFunction) {
    ktFakeGl gl;
    ktFakeGlSurface surface(gl);
    surface.lacking = "glDrawElements";
    ktGlApi api;
    EXPECT_FALSE(api.Load(surface));
    EXPECT_EQ(api.Viewport, nullptr);
    EXPECT_EQ(api.ActiveTexture, nullptr);
}

TEST(ShaderProgram, BuildCompilesBothStagesAndLinks) {
    ktFakeGl gl;
    ktShaderProgram program;
    ASSERT_TRUE(program.Build(gl.api, "vertex text", "fragment"));
    EXPECT_EQ(Names(gl),
              (Strings{"CreateShader", "ShaderSource", "CompileShader", "GetShaderiv", "CreateShader",
                       "ShaderSource", "CompileShader", "GetShaderiv", "CreateProgram", "AttachShader",
                       "AttachShader", "LinkProgram", "GetProgramiv"}));
    const std::vector<ktGlCall> calls = gl.Calls();
    EXPECT_EQ(calls[0].arguments, (std::vector<double>{ktGlVertexShader}));
    EXPECT_EQ(calls[1].text, "vertex text");
    EXPECT_EQ(calls[3].arguments[1], double(ktGlCompileStatus));
    EXPECT_EQ(calls[4].arguments, (std::vector<double>{ktGlFragmentShader}));
    EXPECT_EQ(calls[5].text, "fragment");
    EXPECT_EQ(calls[12].arguments[1], double(ktGlLinkStatus));
    EXPECT_EQ(program.vertex_source, "vertex text");
    EXPECT_EQ(program.vertex_length, 11u);
    EXPECT_EQ(program.vertex_status, 1u);
    EXPECT_EQ(program.fragment_source, "fragment");
    EXPECT_EQ(program.fragment_length, 8u);
    EXPECT_EQ(program.fragment_status, 1u);
    EXPECT_EQ(program.linked, 1u);
    EXPECT_NE(program.program, 0u);
    EXPECT_STREQ(program.info_log.data(), "");
}

TEST(ShaderProgram, VertexStageThatDoesNotCompileEndsTheBuild) {
    ktFakeGl gl;
    gl.bad_shaders = {ktGlVertexShader};
    ktShaderProgram program;
    EXPECT_FALSE(program.Build(gl.api, "vertex", "fragment"));
    EXPECT_EQ(Names(gl), (Strings{"CreateShader", "ShaderSource", "CompileShader", "GetShaderiv",
                                  "GetShaderInfoLog", "DeleteShader"}));
    EXPECT_STREQ(program.info_log.data(), "it is wrong");
    ExpectNothingLeft(program);
}

TEST(ShaderProgram, FragmentStageThatDoesNotCompileTakesTheVertexStageAlong) {
    ktFakeGl gl;
    gl.bad_shaders = {ktGlFragmentShader};
    ktShaderProgram program;
    EXPECT_FALSE(program.Build(gl.api, "vertex", "fragment"));
    EXPECT_EQ(gl.CallsOf("DeleteShader").size(), 2u);
    EXPECT_TRUE(gl.CallsOf("CreateProgram").empty());
    EXPECT_STREQ(program.info_log.data(), "it is wrong");
    ExpectNothingLeft(program);
}

TEST(ShaderProgram, ProgramThatDoesNotLinkIsDeleted) {
    ktFakeGl gl;
    gl.links = false;
    ktShaderProgram program;
    EXPECT_FALSE(program.Build(gl.api, "vertex", "fragment"));
    EXPECT_EQ(gl.CallsOf("GetProgramInfoLog").size(), 1u);
    EXPECT_EQ(gl.CallsOf("DeleteProgram").size(), 1u);
    EXPECT_EQ(gl.CallsOf("DeleteShader").size(), 2u);
    EXPECT_STREQ(program.info_log.data(), "it is wrong");
    ExpectNothingLeft(program);
}

TEST(ShaderProgram, LongLogIsCutTo511Bytes) {
    ktFakeGl gl;
    gl.links = false;
    gl.log = std::string(2000, 'x');
    ktShaderProgram program;
    EXPECT_FALSE(program.Build(gl.api, "vertex", "fragment"));
    EXPECT_EQ(gl.CallsOf("GetProgramInfoLog")[0].arguments[1], 512);
    EXPECT_EQ(std::string(program.info_log.data()), std::string(511, 'x'));
}

TEST(ShaderProgram, DriverWithoutNamesFailsTheBuild) {
    ktFakeGl gl;
    gl.gives_names = false;
    ktShaderProgram program;
    EXPECT_FALSE(program.Build(gl.api, "vertex", "fragment"));
    EXPECT_EQ(Names(gl), (Strings{"CreateShader"}));
    ExpectNothingLeft(program);
}

TEST(ShaderProgram, SuccessfulBuildDropsAnOldLog) {
    ktFakeGl gl;
    gl.links = false;
    ktShaderProgram program;
    EXPECT_FALSE(program.Build(gl.api, "vertex", "fragment"));
    gl.links = true;
    EXPECT_TRUE(program.Build(gl.api, "vertex", "fragment"));
    EXPECT_STREQ(program.info_log.data(), "");
}

TEST(ShaderProgram, DeleteDeletesWhatBuildMade) {
    ktFakeGl gl;
    ktShaderProgram program;
    ASSERT_TRUE(program.Build(gl.api, "vertex", "fragment"));
    gl.Forget();
    program.Delete(gl.api);
    EXPECT_EQ(Names(gl), (Strings{"DeleteProgram", "DeleteShader", "DeleteShader"}));
    ExpectNothingLeft(program);
    program.Delete(gl.api);
    EXPECT_EQ(gl.Calls().size(), 3u);
}

TEST(ShaderProgram, ForgetNeedsNoContext) {
    ktFakeGl gl;
    ktShaderProgram program;
    ASSERT_TRUE(program.Build(gl.api, "vertex", "fragment"));
    gl.Forget();
    program.Forget();
    EXPECT_TRUE(gl.Calls().empty());
    ExpectNothingLeft(program);
}

TEST(ShaderSources, DeclareWhatTheirProgramsAreFedWith) {
    const auto expectAll = [](const char *source, const Strings &words) {
        EXPECT_TRUE(std::string(source).starts_with("#version 330 core\n"));
        for (const std::string &word : words)
            EXPECT_NE(std::string(source).find(word), std::string::npos) << word << " in\n" << source;
    };
    expectAll(ktFlatVertexSource, {"location = 0) in vec2 aPos;", "location = 1) in vec4 aColor;",
                                   "uniform float res_x;", "uniform float res_y;", "out vec4 argColor;"});
    expectAll(ktFlatFragmentSource, {"in vec4 argColor;", "uniform float gs_coef;"});
    expectAll(ktTexturedVertexSource,
              {"location = 0) in vec2 aPos;", "location = 1) in vec4 aColor;",
               "location = 2) in vec2 aTexCoord;", "uniform float res_x;", "uniform float res_y;",
               "uniform float off_x;", "uniform float off_y;", "out vec4 ourColor;", "out vec2 TexCoord;"});
    expectAll(ktTextFragmentSource, {"in vec4 ourColor;", "in vec2 TexCoord;", "uniform sampler2D text;",
                                     "uniform float gs_coef;"});
    expectAll(ktImageFragmentSource, {"in vec4 ourColor;", "in vec2 TexCoord;", "uniform sampler2D image;",
                                      "uniform float gs_coef;"});
}

TEST(ShaderSources, EachMixesTowardsTheSameGreyAndKeepsItsAlpha) {
    for (const char *source : {ktFlatFragmentSource, ktTextFragmentSource, ktImageFragmentSource})
        for (const char *part : {"0.2126", "0.7152", "0.0722", "mix(", "gs_coef)", "color.a"})
            EXPECT_NE(std::string(source).find(part), std::string::npos) << part;
}
