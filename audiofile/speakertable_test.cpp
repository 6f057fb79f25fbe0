#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"
#include "audiofile/speakertable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace Quillmark;

namespace
{

/** The speaker a label of the plug-in standard's wording stands for, or null. */
const ASpeakerInfo* speakerOfLabel(const std::string& label)
{
    std::string name = label;
    if (label == "LFE")
        name = "Lfe";
    else if (label == "LFE2")
        name = "Lfe2";
    else if (label == "S")
        name = "Cs";
    for (int32 i = 0; i < getSpeakerTableSize(); ++i)
    {
        const ASpeakerInfo* row = getSpeakerInfo(i);
        if (name == row->shortName || (row->alias && name == row->alias))
            return row;
    }
    return nullptr;
}

std::vector<std::string> labelsOf(const char8* text)
{
    std::vector<std::string> labels;
    std::istringstream in(text);
    for (std::string label; in >> label;)
        labels.push_back(label);
    return labels;
}

/** The program's arrangement type that carries the standard name `name`, or -1. */
int32 typeOfStandardName(const std::string& name)
{
    std::string own = name;
    for (size_t at = own.find("LFE"); at != std::string::npos; at = own.find("LFE"))
        own.replace(at, 3, "Lfe");
    for (int32 type = 0; type < kArrangementTypeCount; ++type)
    {
        const char8* typeName = getNamedArrangement(type)->name;
        if (typeName && (own == typeName || own + " Auro" == typeName))
            return type;
    }
    return -1;
}

} // namespace

TEST(SpeakerTable, RowsHaveDistinctNumbersRolesAndBits)
{
    ASSERT_EQ(getSpeakerTableSize(), 29);
    EXPECT_EQ(getSpeakerInfo(-1), nullptr);
    EXPECT_EQ(getSpeakerInfo(29), nullptr);

    std::set<int32> ids;
    std::set<std::string> roles;
    Qel::Speaker speakerBits = 0;
    uint32 waveBits = 0;
    for (int32 i = 0; i < getSpeakerTableSize(); ++i)
    {
        const ASpeakerInfo* row = getSpeakerInfo(i);
        SCOPED_TRACE(row->longName);
        EXPECT_TRUE(ids.insert(row->id).second);
        EXPECT_TRUE(roles.insert(row->role).second);
        EXPECT_EQ(findSpeakerInfo(row->id), row);
        if (row->id == kSpeakerUndefined)
        {
            EXPECT_EQ(row->speakerBit, 0u);
            continue;
        }
        // One bit each, never shared; a Wave bit, where there is one, is the same bit.
        EXPECT_EQ(row->speakerBit & (row->speakerBit - 1), 0u);
        EXPECT_EQ(speakerBits & row->speakerBit, 0u);
        speakerBits |= row->speakerBit;
        if (row->waveBit != 0)
        {
            EXPECT_EQ(row->waveBit, row->speakerBit);
            waveBits |= row->waveBit;
        }
    }
    EXPECT_EQ(speakerBits, 0xFFFFFFFull) << "bits 0 to 27, each claimed once";
    EXPECT_EQ(waveBits, 0xFFFFFu) << "the Wave mask stops after Mono";
    // Left and Right lead the table so that a mask walk meets them before Mono.
    EXPECT_EQ(getSpeakerInfo(0)->id, kSpeakerL);
    EXPECT_EQ(getSpeakerInfo(1)->id, kSpeakerR);
    EXPECT_EQ(getSpeakerInfo(2)->id, kSpeakerMono);
    EXPECT_EQ(getSpeakerInfo(28)->id, kSpeakerUndefined);
    EXPECT_EQ(findSpeakerInfo(-1), nullptr);
    EXPECT_EQ(findSpeakerInfo(28), nullptr);
}

TEST(SpeakerTable, SpeakerBitsFollowThePluginChannelNames)
{
    // The plug-in standard names channels by bit number in this order.
    const char8* names[] = {"L",  "R",  "C",   "LFE", "Ls",  "Rs",  "Lc",  "Rc",  "S",    "Sl",
                            "Sr", "Tm", "Tfl", "Tfc", "Tfr", "Trl", "Trc", "Trr", "LFE2", "M",
                            "W",  "X",  "Y",   "Z",   "Tsl", "Tsr", "Lcs", "Rcs"};
    for (int32 bit = 0; bit < 28; ++bit)
    {
        const ASpeakerInfo* row = speakerOfLabel(names[bit]);
        ASSERT_NE(row, nullptr) << names[bit];
        EXPECT_EQ(row->speakerBit, Qel::Speaker(1) << bit) << names[bit];
    }
}

TEST(SpeakerTable, FindsSpeakerByRoleIgnoringCase)
{
    ASSERT_NE(findSpeakerByRole("left"), nullptr);
    EXPECT_EQ(findSpeakerByRole("left")->id, kSpeakerL) << "not the longer \"left surround\"";
    EXPECT_EQ(findSpeakerByRole("Left Surround")->id, kSpeakerLs);
    EXPECT_EQ(findSpeakerByRole("LEFT OF CS")->id, kSpeakerLcs);
    EXPECT_EQ(findSpeakerByRole(u"Side Right")->id, kSpeakerSr);
    EXPECT_EQ(findSpeakerByRole("b-w")->id, kSpeakerW);
    EXPECT_EQ(findSpeakerByRole("mono")->id, kSpeakerMono);
    EXPECT_EQ(findSpeakerByRole("undefined")->id, kSpeakerUndefined);
    EXPECT_EQ(findSpeakerByRole("lef"), nullptr);
    EXPECT_EQ(findSpeakerByRole("left "), nullptr);
    EXPECT_EQ(findSpeakerByRole(""), nullptr);
    EXPECT_EQ(findSpeakerByRole("Lss"), nullptr) << "short names are no roles";
}

TEST(SpeakerTable, ArrangementNamesOnlyForUsedTypes)
{
    EXPECT_STREQ(getArrangementName(0), "Mono");
    EXPECT_STREQ(getArrangementName(36), "13.1 Auro");
    EXPECT_STREQ(getArrangementName(38), "12.2");
    EXPECT_STREQ(getArrangementName(40), "BFormat");
    EXPECT_EQ(getArrangementName(37), nullptr);
    EXPECT_EQ(getArrangementName(41), nullptr);
    EXPECT_EQ(getArrangementName(-1), nullptr);
    EXPECT_EQ(getArrangementName(INT32_MIN), nullptr);
    EXPECT_EQ(getNamedArrangement(41), nullptr);

    // Set codes are one above types.
    ASpeakerArrangement arrangement;
    arrangement.setArrangement(2);
    EXPECT_EQ(arrangement.classifyArrangement(), 1);
    EXPECT_STREQ(getArrangementName(arrangement.classifyArrangement()), "Stereo");
}

TEST(SpeakerTable, LocalisedNamesReplaceTheShownOnes)
{
    EXPECT_STREQ(getSpeakerName(kSpeakerLs), "Left Surround");
    EXPECT_STREQ(getSpeakerName(kSpeakerMono), "Mono");
    EXPECT_EQ(getSpeakerName(-1), nullptr);

    int32 asked = 0;
    localizeSpeakerNames(
        [&](const char8* text)
        {
            ++asked;
            if (std::strcmp(text, "Left Surround") == 0)
                return String(u"Surround gauche"); // 16-bit answers are shown as UTF-8
            if (std::strcmp(text, "Stereo") == 0)
                return String("St\xC3\xA9r\xC3\xA9o");
            return String(text);
        });
    EXPECT_EQ(asked, 29 + 40) << "every speaker and every named arrangement";
    EXPECT_STREQ(getSpeakerName(kSpeakerLs), "Surround gauche");
    EXPECT_STREQ(getSpeakerName(kSpeakerRs), "Right Surround");
    EXPECT_STREQ(getArrangementName(1), "St\xC3\xA9r\xC3\xA9o");
    EXPECT_EQ(getArrangementName(37), nullptr);
    // The table's own data keeps the untranslated key.
    EXPECT_STREQ(findSpeakerInfo(kSpeakerLs)->longName, "Left Surround");

    // A second pass starts from the untranslated names again.
    localizeSpeakerNames([](const char8* text) { return String("[" + std::string(text) + "]"); });
    EXPECT_STREQ(getSpeakerName(kSpeakerLs), "[Left Surround]");
    EXPECT_STREQ(getArrangementName(15), "[5.1]");

    localizeSpeakerNames([](const char8* text) { return String(text); });
    EXPECT_STREQ(getSpeakerName(kSpeakerLs), "Left Surround");
    EXPECT_STREQ(getArrangementName(1), "Stereo");
}

TEST(SpeakerTable, StandardStringsMatchTheNamedArrangements)
{
    ASSERT_EQ(getStandardArrangementStringCount(), 45);
    EXPECT_EQ(getStandardArrangementString(45), nullptr);

    std::vector<std::string> unmatched;
    for (int32 i = 0; i < getStandardArrangementStringCount(); ++i)
    {
        const AStandardArrangementString* row = getStandardArrangementString(i);
        SCOPED_TRACE(row->name);
        EXPECT_STREQ(findStandardSpeakerString(row->name), row->speakers);

        std::set<int32> speakers;
        for (const std::string& label : labelsOf(row->speakers))
        {
            const ASpeakerInfo* speaker = speakerOfLabel(label);
            ASSERT_NE(speaker, nullptr) << label;
            speakers.insert(speaker->id);
        }
        int32 type = typeOfStandardName(row->name);
        if (type < 0)
        {
            unmatched.push_back(row->name);
            continue;
        }
        // Same speakers as the program's arrangement, whatever the order.
        const ANamedArrangement* named = getNamedArrangement(type);
        std::set<int32> own(named->speakers, named->speakers + named->speakerCount);
        EXPECT_EQ(speakers, own);
    }
    EXPECT_EQ(unmatched, (std::vector<std::string>{"7.1 Cine Top Center", "7.1 Cine Center High",
                                                   "7.1 Cine Front High", "7.1 Cine Side High",
                                                   "7.1 Cine Full Rear"}));
    // The standard's own wording, repeats included.
    EXPECT_STREQ(findStandardSpeakerString("7.1 Cine Front High"), "L R C LFE Ls Rs Tfl Tfl");
    EXPECT_STREQ(findStandardSpeakerString("7.1 Cine Side High"), "L R C LFE Ls Rs Tsl Tsl");
    EXPECT_STREQ(findStandardSpeakerString("Stereo (C LFE)"), "C LFE");
    EXPECT_EQ(findStandardSpeakerString("Stereo (C Lfe)"), nullptr);
    EXPECT_EQ(findStandardSpeakerString(nullptr), nullptr);
}
