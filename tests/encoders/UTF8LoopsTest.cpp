// Both sets of UTF-8 loops (the vector loops where the build has them, and the portable loops every
// target can run) against the one-character-at-a-time reference: same units or bytes, same counts,
// same result, on random and hostile input cut at every point and into every room.
#include "encoders/UTF8Loops.h"

#include "encoders/EncoderTesting.h"

using namespace Quarn;
using namespace Quarn::encoders;
using namespace quarn_test;

namespace {

// One set of loops in the shape of an encoder, so that the guarded helpers can run it.
class LoopsUnderTest : public Encoder {
public:
    LoopsUnderTest(Loops loops, const char* name) : Encoder(0, true), loops(loops), name(name) {}
    const unsigned short* getNames() const override { return w(u"LOOPS"); }
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool) const override {
        return decodeUtf8(src, srcLen, dst, dstLen, loops);
    }
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool) const override {
        return encodeUtf8(src, srcLen, dst, dstLen, loops);
    }

    const Loops loops;
    const char* const name;
};

class Agreement {
public:
    // Whether both loops convert the source into room as the reference does.
    template <class Text> bool at(const Text& source, int32_t room) const {
        const auto want = convert(reference, source, room);
        for (const LoopsUnderTest* loops : {&portable, &vector})
            EXPECT_EQ(convert(*loops, source, room), want)
                << loops->name << " loops, " << source.size() << " in, room " << room;
        return !testing::Test::HasFailure();
    }

    // Every cut of the source with ample room, and every room for the whole source.
    template <class Text> bool everywhere(const Text& source, int32_t ampleRoom) const {
        for (size_t cut = 0; cut <= source.size(); ++cut)
            if (!at(source.substr(0, cut), ampleRoom)) return false;
        for (int32_t room = 0; room <= ampleRoom; ++room)
            if (!at(source, room)) return false;
        return true;
    }

private:
    ReferenceUtf8 reference;
    LoopsUnderTest portable{Loops::Portable, "portable"};
    LoopsUnderTest vector{Loops::Vector, "vector"};
};

TEST(UTF8Loops, AgreeWithTheReferenceOnRandomText) {
    const Agreement agree;
    std::mt19937 random(11);
    for (int round = 0; round < 600; ++round) {
        const RandomText t = randomText(random, 1 + random() % 80, round % 3 != 0);
        const int32_t bytes = static_cast<int32_t>(t.bytes.size()),
                      units = static_cast<int32_t>(t.units.size());
        ASSERT_TRUE(agree.everywhere(t.bytes, bytes + 2)) << "round " << round;
        ASSERT_TRUE(agree.everywhere(t.units, units * 3 + 2)) << "round " << round;
    }
}

// Each fault at every offset of a window and of the window after, inside long valid text of each
// kind, with and without text after it, so that the vector loops meet it at every lane, the
// windows' ends cut every sequence before it, and the rooms end around the block sizes.
template <class Text>
void sweepFaults(const Agreement& agree, const std::vector<Text>& faults, const std::vector<Text>& fillers) {
    for (const Text& filler : fillers) {
        Text padding;
        while (padding.size() < 64)
            padding += filler;
        for (const Text& fault : faults) {
            for (size_t at = 0; at < 40; ++at) {
                for (size_t after : {0, 24}) {
                    const Text source = padding.substr(0, at) + fault + padding.substr(0, after);
                    for (int32_t room : {7, 8, 15, 16, 17, 24, 25, 31, 32, 33, 40, 100})
                        ASSERT_TRUE(agree.at(source, room)) << "fault at " << at;
                }
            }
        }
    }
}

TEST(UTF8Loops, AgreeWithTheReferenceOnFaultsAtEveryOffset) {
    const Agreement agree;
    std::vector<std::string> faults;
    for (const char* hex : {"80", "C0 80", "C1 81", "E0 9F 80", "E0 A0 80", "ED A0 80", "F0 9F 98 80",
                            "F4 90 80 80", "F8 88 80 80 80", "C3 41", "E2 82 41", "E2 41", "FF", "BF BF"})
        faults.push_back(hexBytes(hex));
    sweepFaults<std::string>(agree, faults, {"a", "\xD0\xB6", "\xE4\xB8\xAD", "a\xD0\xB6"});
    sweepFaults<std::u16string>(agree,
                                {u"\xDC00", u"\xD83Dx", u"\xD83D\xD83D\xDE00", u"\xD83D\xDE00",
                                 u"\xDB40\xDC00", u"\xD8C0\xDC00", u"\xDBFF\xDFFF", u"\xD8BF\xDFFF",
                                 u"\xD800"},
                                {u"a", u"\x436", u"\x4E2D", u"a\x436\x4E2D"});
}

} // namespace
