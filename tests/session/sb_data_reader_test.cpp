#include "session/sb_data_reader.h"

#include "support/fake_dbg_eng.h"

#include <gtest/gtest.h>

namespace {

using Calls = std::vector<std::string>;

class SbDataReader : public testing::Test {
protected:
    static ktAddress Start() {
        ktAddress address;
        address.value = 0x1000;
        address.root = 0x5003;
        address.selector = 8;
        address.kind = ktAddress::kindVirtual;
        return address;
    }
    SbDataReader() { target.Map(0x1000, 0x2000); }

    ktFakeTarget target;
    ktFakeDbgEng engine{target};
    ktSbDataReader reader{&engine, Start()};
    uint8_t bytes[0x2000] = {};
    uint32_t done = 99;
};

} // namespace

TEST_F(SbDataReader, ReadsAtTheRecordAsItWasGiven) {
    EXPECT_EQ(reader.GetPosition(), 0x1000u);
    EXPECT_TRUE(reader.Read(bytes, 16, &done));
    EXPECT_EQ(done, 16u);
    EXPECT_EQ(bytes[15], 0x01);
    EXPECT_EQ(target.Calls(), Calls{"ReadTarget kind 1 at 0008:1000 root 5003 attribute 9 for 10"});
}

TEST_F(SbDataReader, SeekAlwaysSucceedsAndMakesTheAddressLinear) {
    EXPECT_TRUE(reader.Seek(~uint64_t{0}));
    EXPECT_EQ(reader.GetPosition(), ~uint64_t{0});
    EXPECT_TRUE(reader.Seek(0x2000));
    EXPECT_TRUE(reader.ReadExact(bytes, 1));
    EXPECT_EQ(target.Calls(), Calls{"ReadTarget kind 2 at 0008:2000 root 5003 attribute 9 for 1"});
}

TEST_F(SbDataReader, ThePositionMovesByWhatCame) {
    EXPECT_TRUE(reader.Read(bytes, 0x20, nullptr));
    EXPECT_EQ(reader.GetPosition(), 0x1020u);
    target.AllowShortReads();
    reader.Seek(0x2FF0);
    EXPECT_TRUE(reader.Read(bytes, 0x40, &done));
    EXPECT_EQ(done, 0x10u);
    EXPECT_EQ(reader.GetPosition(), 0x3000u);
}

TEST_F(SbDataReader, ReadExactWantsAllBytes) {
    target.AllowShortReads();
    reader.Seek(0x2FF0);
    EXPECT_FALSE(reader.ReadExact(bytes, 0x40));
    reader.Seek(0x2FF0);
    EXPECT_TRUE(reader.ReadExact(bytes, 0x10));
}

TEST_F(SbDataReader, AFailureOfTheEngineIsAFailure) {
    reader.Seek(0x9000);
    EXPECT_FALSE(reader.Read(bytes, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(reader.GetPosition(), 0x9000u);
    EXPECT_FALSE(reader.ReadExact(bytes, 4));
}

TEST_F(SbDataReader, APositiveResultIsSuccess) {
    target.Fail("ReadTarget", 1, 1);
    EXPECT_TRUE(reader.Read(bytes, 4, &done));
    EXPECT_EQ(done, 0u);
}

TEST_F(SbDataReader, HasNoEndAndMovesByAbsolutePositionsOnly) {
    EXPECT_FALSE(reader.IsAtEnd());
    EXPECT_FALSE(reader.Skip(1));
    EXPECT_FALSE(reader.SeekFromEnd(0));
    EXPECT_EQ(reader.GetPosition(), 0x1000u);
    reader.Seek(~uint64_t{0});
    EXPECT_FALSE(reader.IsAtEnd());
}

TEST_F(SbDataReader, IsNotCopied) {
    EXPECT_EQ(reader.Clone(), nullptr);
    EXPECT_EQ(reader.SubReader(0, 1), nullptr);
}

TEST_F(SbDataReader, WithoutAnEngineOrABufferFails) {
    ktSbDataReader empty(nullptr, Start());
    EXPECT_FALSE(empty.Read(bytes, 4, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(reader.Read(nullptr, 4, &done));
    EXPECT_TRUE(target.Calls().empty());
}
