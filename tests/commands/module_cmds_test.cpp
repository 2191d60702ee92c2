#include "symbols/module_cmds.h"

#include <gtest/gtest.h>

#include <string>

#include "app/task_pool.h"
#include "session/sb_data_reader.h"
#include "session/static_dbg_eng.h"
#include "support/allocation_count.h"
#include "support/command_session.h"
#include "support/elf_builder.h"
#include "support/fake_dbg_eng.h"
#include "support/pe_builder.h"
#include "support/temp_folder.h"
#include "symbols/module.h"

namespace {

constexpr uint64_t root = 0x1AB000;
constexpr uint64_t imageAt = 0x7F0000;

/// A module name of a length that nothing else here has.
const std::string longName(200, 'n');
/// Bytes of that name after it was made unique, with "_1" and the terminator.
constexpr size_t longNameBytes = 200 + 2 + 1;

/// A session of the static engine.
class ModuleCmds : public testing::Test, protected ktCommandSession {
protected:
    ModuleCmds() { session.engine = std::make_unique<ktStaticDbgEng>(SystemHost()); }

    using ktCommandSession::Run;
    uint32_t Load(const std::string &name, const ktBytes &bytes, const std::string &base = {}) {
        const std::string path = folder.Write(name, bytes);
        return base.empty() ? Run(lmf, {path}) : Run(lmf, {path, base});
    }
    std::string Names() const {
        std::string names;
        for (const ktModule *module : space->Modules()) names += std::string(module->name.Get()) + " ";
        return names;
    }

    ktTempFolder folder;
    ktLmfCmd lmf;
    ktUmCmd um;
    ktCmCmd cm;
    ktModDetectCmd detect;
};

/// A session over a target whose memory holds a PE image.
class ModDetect : public ModuleCmds {
protected:
    ModDetect() {
        session.engine = std::make_unique<ktFakeDbgEng>(target);
        session.engineType = ktEngineSable;
        ktAddress address;
        address.kind = ktAddress::kindLinear;
        address.root = root;
        auto reader = std::make_unique<ktSbDataReader>(session.engine.get(), address);
        space = session.spaces->Append(std::make_unique<ktSpace>(root, std::move(reader)));
        session.spaces->SetCurrent(space);
        target.SetRegister(ktRegCr3, root);
        target.SetRegister(ktRegIp, imageAt + 0x1010);
        PutImage(GoodPe().BuildLoaded());
    }
    ~ModDetect() override {
        session.spaces.reset(); // its readers use the engine
        session.engine.reset(); // and that the target
    }

    void PutImage(const ktBytes &image) {
        target.Map(imageAt, image.size());
        target.Poke(imageAt, image);
    }
    std::string SearchCall() const {
        for (const std::string &call : target.Calls()) {
            if (call.rfind("SearchMemory", 0) == 0) return call;
        }
        return {};
    }

    ktFakeTarget target;
};

TEST_F(ModuleCmds, NamesAndPlaces) {
    EXPECT_STREQ(lmf.GetName(), "lmf");
    EXPECT_FALSE(lmf.IsSynchronous());
    EXPECT_TRUE(um.IsSynchronous());
    EXPECT_TRUE(cm.IsSynchronous());
    EXPECT_TRUE(detect.IsSynchronous());
    EXPECT_STREQ(detect.GetName(), "mod.detect");
    EXPECT_STREQ(um.GetName(), "um");
    EXPECT_STREQ(cm.GetName(), "cm");
    EXPECT_EQ(lmf.GetMinArgs(), 1u);
    EXPECT_EQ(lmf.GetMaxArgs(), 2u);
    EXPECT_STREQ(lmf.GetHelpLine(2), "   lmf file_path [module_base]");
}

TEST_F(ModuleCmds, LmfKeepsSessionAndPoolAlone) {
    ktTaskPool pool;
    ktCmdContext context;
    context.session = &session;
    context.output = &output;
    context.pool = &pool;
    lmf.SetCmdContext(context);
    ktCmdContext back;
    lmf.GetCmdContext(&back);
    EXPECT_EQ(back.session, &session);
    EXPECT_EQ(back.pool, &pool);
    EXPECT_EQ(back.output, nullptr);
}

TEST_F(ModuleCmds, WithoutASessionAllButDetectSayThereAreNoSpaces) {
    session.spaces.reset();
    EXPECT_EQ(Run(lmf, {"x"}), ktCmdNoSpaces);
    EXPECT_EQ(Run(um, {"x"}), ktCmdNoSpaces);
    EXPECT_EQ(Run(cm, {}), ktCmdNoSpaces);
    ktLmfCmd fresh;
    EXPECT_EQ(fresh.Execute(nullptr, 0), ktCmdNoSpaces);
    EXPECT_EQ(ktUmCmd().Execute(nullptr, 0), ktCmdNoSpaces);
    EXPECT_EQ(ktCmCmd().Execute(nullptr, 0), ktCmdNoSpaces);
    EXPECT_EQ(ktModDetectCmd().Execute(nullptr, 0), ktCmdNoEngine);
}

TEST_F(ModuleCmds, LmfLoadsAndPrintsNothing) {
    EXPECT_EQ(Load("boot.elf", GoodElf().Build()), ktCmdOk);
    EXPECT_EQ(Names(), "boot ");
    EXPECT_TRUE(output.lines.empty());
    EXPECT_EQ(space->GetModule(0)->RefCount(), 1u);
    EXPECT_EQ(space->Pages().PageCount(), 3u);
    EXPECT_NE(space->GetModule(0)->FirstUnitAt(0x400110), nullptr);
}

TEST_F(ModuleCmds, LoadingTheSameFileTwiceGivesASecondName) {
    Load("boot.elf", GoodElf().Build());
    Load("boot.elf", GoodElf().Build());
    EXPECT_EQ(Names(), "boot boot_1 ");
}

TEST_F(ModuleCmds, LmfOfAFileThatIsNeitherElfNorPe) {
    EXPECT_EQ(Load("text.txt", ktBytes(500, 'x')), ktCmdNotLoaded);
    EXPECT_EQ(Run(lmf, {folder.Path("missing")}), ktCmdNotLoaded);
    EXPECT_EQ(space->ModuleCount(), 0u);
    EXPECT_EQ(space->Pages().PageCount(), 0u);
}

TEST_F(ModuleCmds, LmfTakesABase) {
    EXPECT_EQ(Load("boot.elf", GoodElf().Build(), "0x400000"), ktCmdOk);
    EXPECT_EQ(Load("boot.elf", GoodElf().Build(), "0x500000"), ktCmdNotLoaded);
    EXPECT_EQ(Load("driver.sys", GoodPe().Build(), "20000000"), ktCmdOk);
    EXPECT_EQ(space->GetModule(1)->base, 0x20000000u);
}

TEST_F(ModuleCmds, LmfOfAModuleThatCannotBeAddedGivesStatus9AndTakesItsPagesOutAgain) {
    ASSERT_EQ(Load(longName + ".elf", GoodElf().Build()), ktCmdOk);
    ASSERT_EQ(space->Pages().PageCount(), 3u);
    {
        const ktAllocationFailure failure(longNameBytes);
        EXPECT_EQ(Load(longName + ".sys", GoodPe().Build()), ktCmdNotRegistered);
        EXPECT_EQ(failure.Count(), 1u);
    }
    EXPECT_EQ(Names(), longName + " ");
    EXPECT_EQ(space->ModuleNames().KeyCount(), 1u);
    EXPECT_EQ(space->Pages().PageCount(), 3u) << "those of the other module";
    uint8_t byte = 0;
    EXPECT_FALSE(space->Reader().Seek(0x10001000) && space->Reader().ReadExact(&byte, 1));
    EXPECT_TRUE(space->Reader().Seek(0x400001) && space->Reader().ReadExact(&byte, 1));

    EXPECT_EQ(Run(lmf, {folder.Path(longName + ".sys")}), ktCmdOk);
    EXPECT_EQ(Names(), longName + " " + longName + "_1 ");
    EXPECT_TRUE(space->Reader().Seek(0x10001000) && space->Reader().ReadExact(&byte, 1));
}

TEST_F(ModuleCmds, LmfWithoutItsTextsFails) {
    ktCmdArg released = {};
    Run(cm, {});
    ktCmdContext context;
    context.session = &session;
    lmf.SetCmdContext(context);
    um.SetCmdContext(context);
    EXPECT_EQ(lmf.Execute(&released, 1), ktCmdNotLoaded);
    EXPECT_EQ(um.Execute(&released, 1), ktCmdNotFound);
}

TEST_F(ModuleCmds, WithoutACurrentSpace) {
    session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(Load("boot.elf", GoodElf().Build()), ktCmdReadFailed);
    EXPECT_EQ(Run(um, {"boot"}), ktCmdNotFound);
    EXPECT_EQ(Run(cm, {}), ktCmdOk);
}

TEST_F(ModuleCmds, UmTakesTheExactName) {
    Load("Boot.elf", GoodElf().Build());
    EXPECT_EQ(Run(um, {"boot"}), ktCmdNotFound);
    EXPECT_EQ(Run(um, {"Boo"}), ktCmdNotFound);
    EXPECT_EQ(Run(um, {}), ktCmdNotFound);
    EXPECT_EQ(Run(um, {"Boot"}), ktCmdOk);
    EXPECT_EQ(Run(um, {"Boot"}), ktCmdNotFound);
    EXPECT_EQ(space->ModuleCount(), 0u);
}

TEST_F(ModuleCmds, AfterUmThePagesNoLongerAnswer) {
    Load("boot.elf", GoodElf().Build());
    uint8_t byte = 0;
    ASSERT_TRUE(space->Reader().Seek(0x400001) && space->Reader().ReadExact(&byte, 1));
    EXPECT_EQ(byte, 7);
    Run(um, {"boot"});
    EXPECT_FALSE(space->Reader().Seek(0x400001) && space->Reader().ReadExact(&byte, 1));
    EXPECT_EQ(space->Pages().PageCount(), 0u);
}

TEST_F(ModuleCmds, CmRemovesAllModules) {
    EXPECT_EQ(Run(cm, {}), ktCmdOk);
    for (int i = 0; i < 3; ++i) Load("boot.elf", GoodElf().Build());
    EXPECT_EQ(Run(cm, {}), ktCmdOk);
    EXPECT_EQ(space->ModuleCount(), 0u);
    EXPECT_EQ(space->ModuleNames().KeyCount(), 0u);
    EXPECT_EQ(space->Pages().PageCount(), 0u);
    EXPECT_TRUE(output.lines.empty());
}

TEST_F(ModuleCmds, DetectNeedsAnEngineThatKnowsATarget) {
    EXPECT_EQ(Run(detect, {}), ktCmdEngineFailed);
    session.engine.reset();
    EXPECT_EQ(Run(detect, {}), ktCmdNoEngine);
}

TEST_F(ModDetect, FindsTheImageAroundTheInstructionPointer) {
    EXPECT_EQ(Run(detect, {}), ktCmdOk);
    EXPECT_EQ(Names(), "kernel.pdb ");
    ktModule *module = space->GetModule(0);
    EXPECT_EQ(module->base, imageAt);
    EXPECT_EQ(module->entry, imageAt + 0x1010);
    EXPECT_EQ(module->size, 0x4000u);
    EXPECT_EQ(module->RefCount(), 1u);
    EXPECT_TRUE(output.lines.empty());
}

TEST_F(ModDetect, SearchesLinearPagesDownwardsWithTheRootOfTheContext) {
    target.SetRegister(ktRegIp, 0x1234567);
    target.SetRegister(ktRegCr3, 0x8000000000123018);
    EXPECT_EQ(Run(detect, {}), ktCmdOk);
    EXPECT_EQ(SearchCall(),
              "SearchMemory kind 2 at 0000:1234000 root 8000000000123018 attribute 9 for 234000");
}

TEST_F(ModDetect, TheSearchEndsAtZero) {
    target.SetRegister(ktRegIp, 0xFFF123);
    EXPECT_EQ(Run(detect, {}), ktCmdOk);
    EXPECT_EQ(SearchCall(), "SearchMemory kind 2 at 0000:FFF000 root 1AB000 attribute 9 for 0");
}

TEST_F(ModDetect, AnArgumentTakesThePlaceOfTheInstructionPointer) {
    target.SetRegister(ktRegIp, 0);
    EXPECT_EQ(Run(detect, {"7F3FFF"}), ktCmdOk);
    EXPECT_EQ(SearchCall(), "SearchMemory kind 2 at 0000:7F3000 root 1AB000 attribute 9 for 0");
    EXPECT_EQ(space->GetModule(0)->base, imageAt);
}

TEST_F(ModDetect, ALoadedModuleIsNotLoadedAgain) {
    EXPECT_EQ(Run(detect, {}), ktCmdOk);
    EXPECT_EQ(Run(detect, {}), ktCmdAlreadyLoaded);
    EXPECT_EQ(space->ModuleCount(), 1u);
}

TEST_F(ModDetect, AModuleThatCannotBeAddedGivesStatus9AndMayBeDetectedAgain) {
    builder.Publish(*space, builder.AddModule(longName.c_str(), 0x1000, 0x1000));
    ktPeBuilder pe;
    pe.AddSection(".text", 0x1000, ktBytes(0x200, 0x90));
    pe.AddCodeView(0x2000, "C:\\build\\" + longName);
    PutImage(pe.BuildLoaded());
    {
        const ktAllocationFailure failure(longNameBytes);
        EXPECT_EQ(Run(detect, {}), ktCmdNotRegistered);
        EXPECT_EQ(failure.Count(), 1u);
    }
    EXPECT_EQ(Names(), longName + " ");
    EXPECT_EQ(space->ModuleNames().KeyCount(), 1u);
    EXPECT_EQ(Run(detect, {}), ktCmdOk);
    EXPECT_EQ(Names(), longName + " " + longName + "_1 ");
    EXPECT_EQ(space->GetModule(1)->base, imageAt);
}

TEST_F(ModDetect, EngineFailures) {
    target.Fail("GetContext");
    EXPECT_EQ(Run(detect, {}), ktCmdEngineFailed);
    target.Mend("GetContext");
    target.Fail("SearchMemory");
    EXPECT_EQ(Run(detect, {}), ktCmdEngineFailed);
    target.Mend("SearchMemory");
    target.SetRegister(ktRegIp, 0x1000); // below the image
    EXPECT_EQ(Run(detect, {}), ktCmdEngineFailed);
    EXPECT_EQ(space->ModuleCount(), 0u);
}

TEST_F(ModDetect, SpacesAreLookedAtOnlyAfterTheSearch) {
    session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(Run(detect, {}), ktCmdReadFailed);
    session.spaces.reset();
    EXPECT_EQ(Run(detect, {}), ktCmdNoSpaces);
    target.Fail("SearchMemory");
    EXPECT_EQ(Run(detect, {}), ktCmdEngineFailed);
}

TEST_F(ModDetect, WhatOnlyLooksLikeAnImageIsNotLoaded) {
    ktBytes image = GoodPe().BuildLoaded();
    image[ktPeBuilder::ntOffset] = 'X';
    PutImage(image);
    EXPECT_EQ(Run(detect, {}), ktCmdNotLoaded);
    EXPECT_EQ(space->ModuleCount(), 0u);
}

/// The ELF reader begins at address 0 wherever the image was found.
TEST_F(ModDetect, AnElfFileAtAddressZeroIsTakenFirst) {
    ktElfBuilder elf = GoodElf();
    elf.AddSection(".rela", ktElfSectionRela, ktBytes(24));
    const ktBytes bytes = elf.Build();
    target.Map(0, bytes.size());
    target.Poke(0, bytes);
    EXPECT_EQ(Run(detect, {}), ktCmdOk);
    ASSERT_EQ(space->ModuleCount(), 1u);
    EXPECT_EQ(space->GetModule(0)->base, imageAt);
    EXPECT_EQ(space->GetModule(0)->size, 0x3000u);
    EXPECT_EQ(Names().substr(0, 4), "mod_");
}

TEST_F(ModDetect, LmfOfAPeFileFailsWithoutPagesToKeepItIn) {
    EXPECT_EQ(Load("driver.sys", GoodPe().Build()), ktCmdNotLoaded);
    EXPECT_EQ(Load("boot.elf", GoodElf().Build()), ktCmdOk);
    EXPECT_EQ(space->Pages().FindPage(0x400), nullptr);
}

} // namespace
