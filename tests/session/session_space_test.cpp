#include "session/session.h"

#include "support/session_rig.h"

#include <gtest/gtest.h>

namespace {

class SessionSpace : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(rig.ConnectQuietly()); }

    bool Select(uint64_t key) {
        snapshot.context.values[ktRegCr3] = key;
        return rig.session.SelectSpace(&snapshot);
    }
    size_t Count() { return rig.session.spaces->Spaces().size(); }

    ktSnapshot snapshot;
    ktSessionRig rig;
};

} // namespace

TEST_F(SessionSpace, TheKeyIsTheUnmaskedRoot) {
    EXPECT_EQ(Count(), 1u);
    EXPECT_EQ(rig.Current()->Key(), ktSessionRig::cr3);
}

TEST_F(SessionSpace, TheSameKeyStaysCurrent) {
    const ktSpace *before = rig.Current();
    rig.processor.symbolStore = nullptr;
    EXPECT_TRUE(Select(ktSessionRig::cr3));
    EXPECT_EQ(rig.Current(), before);
    EXPECT_EQ(Count(), 1u);
    EXPECT_EQ(rig.processor.symbolStore, nullptr) << "nothing is touched";
}

TEST_F(SessionSpace, ANewKeyMakesASpaceAndAKnownOneComesBack) {
    ktSpace *first = rig.Current();
    ASSERT_TRUE(Select(0x2000));
    ktSpace *second = rig.Current();
    EXPECT_NE(second, first);
    EXPECT_EQ(second->Key(), 0x2000u);
    EXPECT_EQ(rig.processor.symbolStore, second);
    EXPECT_EQ(Count(), 2u);
    ASSERT_TRUE(Select(ktSessionRig::cr3));
    EXPECT_EQ(rig.Current(), first);
    EXPECT_EQ(rig.processor.symbolStore, first);
    EXPECT_EQ(Count(), 2u);
}

TEST_F(SessionSpace, FlagBitsOfTheRootMakeAnotherSpace) {
    ASSERT_TRUE(Select(ktSessionRig::cr3 + 1));
    EXPECT_EQ(Count(), 2u);
}

TEST_F(SessionSpace, WithoutACurrentSpaceOneIsMadeWithoutASearch) {
    const ktSpace *first = rig.Current();
    rig.session.spaces->SetCurrent(nullptr);
    ASSERT_TRUE(Select(ktSessionRig::cr3));
    EXPECT_NE(rig.Current(), first);
    EXPECT_EQ(rig.Current()->Key(), ktSessionRig::cr3);
    EXPECT_EQ(Count(), 2u);
}

TEST_F(SessionSpace, ItsReaderReadsLinearMemoryUnderItsKey) {
    ASSERT_NE(rig.Current()->TargetReader(), nullptr);
    EXPECT_EQ(rig.Current()->TargetReader()->GetPosition(), 0u);
    uint8_t byte = 0;
    rig.Current()->Reader().Seek(0x402000);
    EXPECT_TRUE(rig.Current()->Reader().ReadExact(&byte, 1));
    EXPECT_EQ(byte, 0x02);
    const std::vector<std::string> expected = {
        "ReadTarget kind 2 at 0000:402000 root 80000000001A5003 attribute 9 for 1000"};
    EXPECT_EQ(rig.target.Calls(), expected);
}

TEST_F(SessionSpace, TheTargetReaderStandsAtLinearAddress0) {
    uint8_t byte = 0;
    rig.target.Map(0, 0x1000);
    EXPECT_TRUE(rig.Current()->TargetReader()->Read(&byte, 1, nullptr));
    EXPECT_EQ(rig.target.Calls().back(),
              "ReadTarget kind 2 at 0000:0 root 80000000001A5003 attribute 9 for 1");
}

TEST_F(SessionSpace, AnEngineWithATargetNeedsASnapshot) { EXPECT_FALSE(rig.session.SelectSpace(nullptr)); }

TEST_F(SessionSpace, OtherEngineTypesAreRefused) {
    for (const uint32_t type : {0u, 3u}) {
        rig.session.engineType = type;
        EXPECT_FALSE(rig.session.SelectSpace(&snapshot));
    }
    EXPECT_EQ(Count(), 1u);
}

TEST_F(SessionSpace, SelectingWorksWithoutAProcessor) {
    rig.session.cmdProcessor = nullptr;
    EXPECT_TRUE(Select(0x2000));
    EXPECT_EQ(rig.Current()->Key(), 0x2000u);
    rig.session.cmdProcessor = &rig.processor;
}

TEST(SessionSpaceStatic, TheStaticEngineHasOneSpaceWithTheKey0) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, nullptr));
    ktSnapshot snapshot;
    snapshot.context.values[ktRegCr3] = 0x2000;
    EXPECT_TRUE(rig.session.SelectSpace(&snapshot));
    EXPECT_TRUE(rig.session.SelectSpace(nullptr));
    EXPECT_EQ(rig.session.spaces->Spaces().size(), 1u);
    EXPECT_EQ(rig.Current()->Key(), 0u);
}

TEST(SessionSpaceAlone, WithoutAConnectionNothingCanBeSelected) {
    ktSessionRig rig;
    const ktSnapshot snapshot;
    rig.session.engineType = ktEngineSable;
    EXPECT_FALSE(rig.session.SelectSpace(&snapshot));
    rig.session.engineType = ktEngineStatic;
    EXPECT_FALSE(rig.session.SelectSpace(nullptr));
}

TEST_F(SessionSpace, EachStopSelectsTheSpaceOfItsRoot) {
    rig.target.SetRegister(ktRegCr3, 0x5000);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(rig.Current()->Key(), 0x5000u);
    EXPECT_EQ(rig.Published()->space, rig.Current());
    EXPECT_EQ(rig.Current()->Pages().generation, 1u);
    EXPECT_EQ(rig.session.spaces->Find(ktSessionRig::cr3)->Pages().generation, 1u)
        << "its own count of stops";
}
