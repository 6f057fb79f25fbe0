#include "audiofile/speakerarrangementstring.h"

namespace Quillmark
{

namespace
{

struct ShortName
{
    Qel::SpeakerArrangement mask;
    const char8* text;
};

// One row per named arrangement; a mask that is not listed has no short name, however close it
// comes to one.
constexpr ShortName kShortNames[] = {
    {0x80000, "Mono"},      {0x3, "Stereo"},       {0x30, "StereoSurround"},
    {0xC0, "StereoCenter"}, {0x600, "StereoSide"}, {0xC, "StereoCLfe"},
    {0x7, "30Cine"},        {0x103, "30Music"},    {0xF, "31Cine"},
    {0x10B, "31Music"},     {0x107, "40Cine"},     {0x33, "40Music"},
    {0x10F, "41Cine"},      {0x3B, "41Music"},     {0x37, "50"},
    {0x3F, "51"},           {0x137, "60Cine"},     {0x633, "60Music"},
    {0x13F, "61Cine"},      {0x63B, "61Music"},    {0xF7, "70Cine"},
    {0x637, "70Music"},     {0xFF, "71Cine"},      {0x63F, "71Music"},
    {0x1F7, "80Cine"},      {0x737, "80Music"},    {0x1FF, "81Cine"},
    {0x73F, "81Music"},     {0x6F03F, "102"},      {0x2D037, "9.0"},
    {0x2D03F, "9.1"},       {0x2D837, "10.0"},     {0x2D83F, "10.1"},
    {0x2F837, "11.0"},      {0x2F83F, "11.1"},     {0x3F937, "13.0"},
    {0x3F93F, "13.1"},      {0x6F0FF, "122"},      {0x2D033, "80Cube"},
    {0xF00000, "BFormat"},
};

} // namespace

const char8* getSpeakerArrangementString(Qel::SpeakerArrangement mask)
{
    if (mask == 0)
        return "Empty";
    for (const ShortName& row : kShortNames)
        if (row.mask == mask)
            return row.text;
    return "Unknown";
}

} // namespace Quillmark
