#include "audiofile/aixmlhandler.h"

#include "audiofile/audiofilekeys.h"
#include "audiofile/speakerarrangement.h"
#include "base/fxmlparser.h"
#include "base/fxmlwriter.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <vector>

namespace Quillmark
{

using namespace AudioKeys;

namespace
{

constexpr const char* kScene = "AudioScene";
constexpr const char* kTake = "AudioTake";
constexpr const char* kReel = "AudioReel";
constexpr const char* kUser = "AudioIXMLUser";
constexpr const char* kFamilyUID = "AudioIXMLFamilyUID";
constexpr const char* kFrameRate = "MediaFrameRate";
constexpr const char* kTrackNumber = "ChannelTrackNumber";
constexpr const char* kTrackName = "ChannelTrackName";

enum Kind
{
    kBoolean,
    kInteger,
    kLowHalf,
    kHighHalf,
    kRational,
    kFloat,
    kString,
    kCustom,
    kCustomMerging,
};

struct Row
{
    const char* path;
    int32 flag;
    const char* key;
    Kind kind;
};

const Row kRows[] = {
    {"NOTE", 0, kNotes, kString},
    {"SCENE", 0, kScene, kString},
    {"TAKE", 0, kTake, kString},
    {"TAPE", 0, kReel, kString},
    {"NOTE", 0, kNotes, kString},
    {"USER", 0, kUser, kString},
    {"FILE_SET/FAMILY_UID", 0, kFamilyUID, kString},
    {"TRACK_LIST/TRACK", 1, kChannelList, kCustom},
    {"PROJECT", 0, kProjectName, kString},
    {"SPEED/MASTER_SPEED", 0, kFrameRate, kRational},
    {"TRACK_LIST/TRACK_COUNT", 1, kChannels, kInteger},
    {"BEXT/BWF_DESCRIPTION", 0, kBWFDescription, kString},
    {"BEXT/BWF_ORIGINATOR", 0, kAuthor, kString},
    {"BEXT/BWF_ORIGINATOR_REFERENCE", 1, kBWFOrigRef, kString},
    {"BEXT/BWF_ORIGINATION_DATE", 1, kRecordDate, kCustomMerging},
    {"BEXT/BWF_ORIGINATION_TIME", 1, kRecordDate, kCustomMerging},
    {"BEXT/BWF_TIME_REFERENCE_LOW", 0, kOriginTimeSamples, kLowHalf},
    {"BEXT/BWF_TIME_REFERENCE_HIGH", 0, kOriginTimeSamples, kHighHalf},
    {"BEXT/BWF_UMID", 1, kMUID, kString},
    {"BEXT/BWF_CODING_HISTORY", 1, kBWFCodingHistory, kString},
    {"QUILLMARK/ATTR_LIST/ATTR", 0, nullptr, kCustom},
    {"BEXT/BWF_LOUDNESS_VALUE", 1, kBWFLoudnessValue, kFloat},
    {"BEXT/BWF_LOUDNESS_RANGE", 1, kBWFLoudnessRange, kFloat},
    {"BEXT/BWF_MAX_TRUE_PEAK_LEVEL", 1, kBWFMaxTruePeak, kFloat},
    {"BEXT/BWF_MAX_MOMENTARY_LOUDNESS", 1, kBWFMaxMomentary, kFloat},
    {"BEXT/BWF_MAX_SHORT_TERM_LOUDNESS", 1, kBWFMaxShortTerm, kFloat},
};

const char* const kExcluded[] = {
    "AudioSampleSize",  "AudioSampleRate",   "AudioFrameSize",         "AudioByteOrder",
    "AudioFrameFormat", "AudioSampleFormat", "AudioCompressionFactor", "AudioBitRate",
    "AudioOriginTime",  "MediaType",         "MediaFrameCount",        "FileSize",
    "FileName",         "FileDCreated",      "FileDModified",          "FilePath",
    "FileType"};

struct FunctionWord
{
    const char* word;
    int32 speaker;
    int32 type;
};

const FunctionWord kFunctions[] = {
    {"M-MID_SIDE", -1, -2},
    {"S-MID_SIDE", -2, -2},
    {"X-X_Y", -1, -2},
    {"Y-X_Y", -2, -2},
    {"L-MIX", 1, 1},
    {"R-MIX", 2, 1},
    {"MIX", 0, 0},
    {"LEFT", 1, 1},
    {"RIGHT", 2, 1},
    {"L-LCRS", 1, 10},
    {"C-LCRS", 3, 10},
    {"R-LCRS", 2, 10},
    {"S-LCRS", 9, 10},
    {"L-5.1", 1, 15},
    {"C-5.1", 3, 15},
    {"R-5.1", 2, 15},
    {"Ls-5.1", 5, 15},
    {"Rs-5.1", 6, 15},
    {"LFE-5.1", 4, 15},
    {"L-7.1", 1, 22},
    {"Lc-7.1", 7, 22},
    {"C-7.1", 3, 22},
    {"Rc-7.1", 8, 22},
    {"R-7.1", 2, 22},
    {"Ls-7.1", 5, 22},
    {"Rs-7.1", 6, 22},
    {"LFE-7.1", 4, 22},
    {"W-SOUNDFIELD", -1, -2},
    {"X-SOUNDFIELD", -2, -2},
    {"Y-SOUNDFIELD", -3, -2},
    {"Z-SOUNDFIELD", -4, -2},
};

const char* const kGenericWords[] = {"L-GENERIC",   "R-GENERIC",   "C-GENERIC",   "LFE-GENERIC",
                                     "Ls-GENERIC",  "Rs-GENERIC",  "Lc-GENERIC",  "Rc-GENERIC",
                                     "Cs-GENERIC",  "Sl-GENERIC",  "Sr-GENERIC",  "Tm-GENERIC",
                                     "Tfl-GENERIC", "Tfc-GENERIC", "Tfr-GENERIC", "Trl-GENERIC",
                                     "Trc-GENERIC", "Trr-GENERIC", "LFE2-GENERIC"};

bool isGroupElement(const std::string& parent, const std::string& name)
{
    return (name == "TRACK" && parent == "TRACK_LIST") ||
           (name == "SYNC_POINT" && parent == "SYNC_POINT_LIST") ||
           (name == "ATTR" && parent == "ATTR_LIST") || (name == "ITEM" && parent == "ITEM_LIST");
}

std::string textOf(const FAttributes& tree, const char* key)
{
    String value;
    return tree.getString(key, value) ? value.toUtf8() : std::string();
}

/** Replaces the date or the time of day of a value in seconds. */
int64 mergeDate(int64 existing, bool haveExisting, const std::string& text, bool isDate)
{
    std::time_t t = std::time_t(haveExisting ? existing : 0);
    std::tm tm = {};
    gmtime_r(&t, &tm);
    int a = 0, b = 0, c = 0;
    char separator = isDate ? '-' : ':';
    std::string format = std::string("%d") + separator + "%d" + separator + "%d";
    if (std::sscanf(text.c_str(), format.c_str(), &a, &b, &c) != 3)
        return haveExisting ? existing : -1;
    if (isDate)
    {
        tm.tm_year = a - 1900;
        tm.tm_mon = b - 1;
        tm.tm_mday = c;
    }
    else
    {
        tm.tm_hour = a;
        tm.tm_min = b;
        tm.tm_sec = c;
    }
    return int64(timegm(&tm));
}

class Reader : public FXmlParser::Handler
{
public:
    explicit Reader(FAttributes& tree) : tree(tree) {}

    void startElement(const char* name, const char**) override
    {
        const std::string parent = stack.empty() ? std::string() : stack.back().name;
        Element element;
        element.name = name;
        if (!groups.empty())
            element.path = stack.back().path; // inside a group: the group gathers children
        else if (stack.size() <= 1)
            element.path = stack.empty() ? std::string() : std::string(name);
        else
            element.path = stack.back().path + "/" + name;
        if (!stack.empty() && isGroupElement(parent, name))
        {
            element.group = true;
            groups.push_back(new FAttrList);
        }
        stack.push_back(element);
    }

    void characterData(const char* text, int32 length) override
    {
        if (!stack.empty())
            stack.back().text.append(text, size_t(length));
    }

    void endElement(const char*) override
    {
        if (stack.empty())
            return;
        Element element = stack.back();
        stack.pop_back();
        if (element.group)
        {
            FAttrList* group = groups.back();
            groups.pop_back();
            if (!groups.empty())
            {
                // A nested group (an ITEM of an ATTR list) becomes an entry of its parent.
                FSubList* items = groups.back()->getSubList("items");
                if (!items)
                    items = groups.back()->setSubList("items");
                items->add(group);
            }
            else
                applyGroup(element.path, *group);
            group->release();
            return;
        }
        if (!groups.empty())
        {
            // A child of a group: kept under its own name until the group closes.
            if (!element.text.empty())
                groups.back()->setString(element.name.c_str(), element.text.c_str());
            return;
        }
        if (!element.text.empty())
            applyValue(element.path, trim(element.text));
    }

    ~Reader() override
    {
        for (auto* group : groups)
            group->release();
    }

private:
    struct Element
    {
        std::string name;
        std::string path;
        std::string text;
        bool group = false;
    };

    static std::string trim(const std::string& text)
    {
        size_t begin = text.find_first_not_of(" \t\r\n");
        size_t end = text.find_last_not_of(" \t\r\n");
        return begin == std::string::npos ? std::string() : text.substr(begin, end - begin + 1);
    }

    bool mayImport(const char* key) const
    {
        FAttrType type = tree.getType(key);
        return type == FAttrType::kNone || type == FAttrType::kList ||
               type == FAttrType::kSubList || type == FAttrType::kObject;
    }

    void applyValue(const std::string& path, const std::string& text)
    {
        for (const Row& row : kRows)
        {
            if (path != row.path || !row.key)
                continue;
            switch (row.kind)
            {
            case kString:
                if (mayImport(row.key))
                    tree.setString(row.key, text.c_str());
                break;
            case kInteger:
                if (mayImport(row.key))
                    tree.setInt(row.key, std::strtoll(text.c_str(), nullptr, 10));
                break;
            case kBoolean:
                if (mayImport(row.key))
                    tree.setInt(row.key, text == "TRUE" ? 1 : 0);
                break;
            case kFloat:
                if (mayImport(row.key))
                    tree.setFloat(row.key, std::strtod(text.c_str(), nullptr));
                break;
            case kRational:
            {
                auto slash = text.find('/');
                if (slash == std::string::npos || !mayImport(row.key))
                    break;
                double numerator = std::strtod(text.substr(0, slash).c_str(), nullptr);
                double denominator = std::strtod(text.substr(slash + 1).c_str(), nullptr);
                if (denominator != 0)
                    tree.setFloat(row.key, numerator / denominator);
                break;
            }
            case kLowHalf:
            case kHighHalf:
            {
                // Each half replaces its own 32 bits, so the two may come in either order.
                if (tree.contains(kOriginTime))
                    break;
                int64 value = 0;
                tree.getInt(row.key, value);
                uint64 half = uint64(std::strtoull(text.c_str(), nullptr, 10)) & 0xFFFFFFFFu;
                uint64 bits = uint64(value);
                bits = row.kind == kLowHalf ? (bits & ~uint64(0xFFFFFFFFu)) | half
                                            : (bits & 0xFFFFFFFFu) | (half << 32);
                tree.setInt(row.key, int64(bits));
                break;
            }
            case kCustomMerging:
            {
                int64 existing = 0;
                bool have = tree.getInt(row.key, existing);
                int64 merged = mergeDate(existing, have, text,
                                         std::strcmp(row.path, "BEXT/BWF_ORIGINATION_DATE") == 0);
                if (merged >= 0)
                    tree.setInt(row.key, merged);
                break;
            }
            default:
                break;
            }
            return; // NOTE stands twice in the table; the first row is enough
        }
    }

    void applyGroup(const std::string& path, FAttrList& group)
    {
        if (path == "TRACK_LIST/TRACK")
            applyTrack(group);
        else if (path == "QUILLMARK/ATTR_LIST/ATTR")
            applyAttr(group);
    }

    void applyTrack(FAttrList& group)
    {
        const std::string interleave = textOf(group, "INTERLEAVE_INDEX");
        const long index = std::strtol(interleave.c_str(), nullptr, 10);
        if (index < 1 || index > 4096)
            return;
        int64 channels = 0;
        tree.getInt(kChannels, channels);
        FSubList* list = tree.getSubList(kChannelList);
        if (!list)
            list = tree.setSubList(kChannelList);
        while (list->count() < std::max<int64>(channels, index))
            list->add();
        FAttrList* entry = list->at(int32(index - 1));
        const std::string number = textOf(group, "CHANNEL_INDEX");
        if (!number.empty())
            entry->setInt(kTrackNumber, std::strtoll(number.c_str(), nullptr, 10));
        const std::string name = textOf(group, "NAME");
        if (!name.empty())
            entry->setString(kTrackName, name.c_str());
        int32 speaker = 0;
        if (AIXmlHandler::speakerOfFunction(textOf(group, "FUNCTION"), speaker))
            entry->setInt(kChannelType, speaker);
    }

    void applyAttr(FAttrList& group)
    {
        const std::string name = textOf(group, "NAME");
        if (name.empty() || !mayImport(name.c_str()))
            return;
        for (const char* excluded : kExcluded)
            if (name == excluded)
                return;
        const std::string type = textOf(group, "TYPE");
        const std::string value = textOf(group, "VALUE");
        if (type == "string")
            tree.setString(name.c_str(), value.c_str());
        else if (type == "float")
            tree.setFloat(name.c_str(), std::strtod(value.c_str(), nullptr));
        else if (type == "rational")
        {
            double numerator = std::strtod(textOf(group, "NUMERATOR").c_str(), nullptr);
            double denominator = std::strtod(textOf(group, "DENOMINATOR").c_str(), nullptr);
            if (denominator != 0)
                tree.setFloat(name.c_str(), numerator / denominator);
        }
        else if (type == "list")
            ; // nested lists are this host's own working data; they are not carried back
        else if (!value.empty())
            tree.setInt(name.c_str(), std::strtoll(value.c_str(), nullptr, 10));
    }

    FAttributes& tree;
    std::vector<Element> stack;
    std::vector<FAttrList*> groups;
};

/** Writes nested elements and their text. */
class Builder
{
public:
    void open(const std::string& name)
    {
        indent();
        out += "<" + name + ">\r\n";
        open_.push_back(name);
    }
    void close()
    {
        std::string name = open_.back();
        open_.pop_back();
        indent();
        out += "</" + name + ">\r\n";
    }
    void leaf(const std::string& name, const std::string& text)
    {
        indent();
        out += "<" + name + ">";
        FXmlWriter::appendEscaped(out, text, false);
        out += "</" + name + ">\r\n";
    }
    std::string out;

private:
    void indent() { out.append(open_.size(), '\t'); }
    std::vector<std::string> open_;
};

std::string formatNumber(double value, const char* format)
{
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

} // namespace

bool AIXmlHandler::speakerOfFunction(const std::string& word, int32& speaker)
{
    for (const FunctionWord& f : kFunctions)
        if (word == f.word)
        {
            speaker = f.speaker;
            return true;
        }
    for (int32 i = 0; i < int32(std::size(kGenericWords)); ++i)
        if (word == kGenericWords[i])
        {
            speaker = i + 1;
            return true;
        }
    return false;
}

std::string AIXmlHandler::functionWord(int32 speaker, int32 arrangementType)
{
    for (const FunctionWord& f : kFunctions)
        if (f.speaker == speaker && f.type == arrangementType)
            return f.word;
    if (speaker >= 1 && speaker <= int32(std::size(kGenericWords)))
        return kGenericWords[speaker - 1];
    return {};
}

std::string AIXmlHandler::masterSpeed(double rate)
{
    static const struct
    {
        double rate;
        const char* text;
    } known[] = {{30, "30/1"},
                 {29.97, "30000/1001"},
                 {24, "24/1"},
                 {25, "25/1"},
                 {23.976, "24000/1001"},
                 {25000.0 / 1001, "25000/1001"},
                 {60000.0 / 1001, "60000/1001"},
                 {60, "60/1"}};
    for (const auto& k : known)
        if (std::fabs(rate - k.rate) < 0.001)
            return k.text;
    char text[48];
    std::snprintf(text, sizeof(text), "%d/10000", int(rate * 10000));
    return text;
}

bool AIXmlHandler::import(const void* data, size_t size, FAttributes& attributes)
{
    Reader reader(attributes);
    FXmlParser parser(reader);
    return parser.parse(data, size, true);
}

std::string AIXmlHandler::render(const FAttributes& tree)
{
    Builder b;
    b.out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
    b.open("BWFXML");

    // Rows grouped by their first element, in the order the groups first appear.
    std::vector<std::string> firsts;
    for (const Row& row : kRows)
    {
        std::string first = std::string(row.path).substr(0, std::string(row.path).find('/'));
        if (std::find(firsts.begin(), firsts.end(), first) == firsts.end())
            firsts.push_back(first);
    }
    int64 originSamples = -1;
    {
        double origin = 0, rate = 0;
        if (tree.getFloat(kOriginTime, origin) && tree.getFloat(kSampleRate, rate) && rate > 0)
            originSamples = std::llround(origin * rate);
        int64 stored;
        if (originSamples < 0 && tree.getInt(kOriginTimeSamples, stored))
            originSamples = stored;
    }
    for (const std::string& first : firsts)
    {
        if (first == "TRACK_LIST")
        {
            FSubList* list = tree.getSubList(kChannelList);
            int64 channels = 0;
            if (!tree.getInt(kChannels, channels) && !list)
                continue;
            b.open("TRACK_LIST");
            b.leaf("TRACK_COUNT", std::to_string(channels));
            ASpeakerArrangement arrangement;
            for (int32 i = 0; list && i < list->count(); ++i)
            {
                int64 type;
                if (list->at(i)->getInt(kChannelType, type))
                    arrangement.append(int32(type));
            }
            const int32 arrangementType = arrangement.classifyArrangement();
            for (int32 i = 0; list && i < list->count(); ++i)
            {
                FAttrList* entry = list->at(i);
                b.open("TRACK");
                int64 number = i + 1;
                entry->getInt(kTrackNumber, number);
                b.leaf("CHANNEL_INDEX", std::to_string(number));
                b.leaf("INTERLEAVE_INDEX", std::to_string(i + 1));
                std::string name = textOf(*entry, kTrackName);
                if (!name.empty())
                    b.leaf("NAME", name);
                int64 type;
                if (entry->getInt(kChannelType, type))
                {
                    std::string word = functionWord(int32(type), arrangementType);
                    if (!word.empty())
                        b.leaf("FUNCTION", word);
                }
                b.close();
            }
            b.close();
            continue;
        }
        if (first == "QUILLMARK")
        {
            std::vector<int32> own;
            for (int32 i = 0; i < tree.count(); ++i)
            {
                std::string name = tree.nameAt(i);
                bool skip = false;
                for (const Row& row : kRows)
                    skip = skip || (row.key && name == row.key);
                for (const char* excluded : kExcluded)
                    skip = skip || name == excluded;
                FAttrType type = tree.typeAt(i);
                if (!skip && (type == FAttrType::kInt || type == FAttrType::kFloat ||
                              type == FAttrType::kString))
                    own.push_back(i);
            }
            if (own.empty())
                continue;
            b.open("QUILLMARK");
            b.open("ATTR_LIST");
            for (int32 i : own)
            {
                const char* name = tree.nameAt(i);
                b.open("ATTR");
                FAttrType type = tree.typeAt(i);
                b.leaf("TYPE", type == FAttrType::kString  ? "string"
                               : type == FAttrType::kFloat ? "float"
                                                           : "integer");
                b.leaf("NAME", name);
                b.leaf("FLAGS", "0");
                if (type == FAttrType::kString)
                    b.leaf("VALUE", textOf(tree, name));
                else if (type == FAttrType::kFloat)
                {
                    double value = 0;
                    tree.getFloat(name, value);
                    b.leaf("VALUE", formatNumber(value, "%.17g"));
                }
                else
                {
                    int64 value = 0;
                    tree.getIntAt(i, value);
                    b.leaf("VALUE", std::to_string(value));
                }
                b.close();
            }
            b.close();
            b.close();
            continue;
        }
        // Plain rows under this first element; a path of one element stands by itself.
        bool opened = false;
        std::vector<std::string> written;
        for (const Row& row : kRows)
        {
            const std::string path = row.path;
            if (path.substr(0, path.find('/')) != first || !row.key || row.kind == kCustom)
                continue;
            if (std::find(written.begin(), written.end(), path) != written.end())
                continue;
            std::string text;
            switch (row.kind)
            {
            case kString:
                text = textOf(tree, row.key);
                break;
            case kInteger:
            case kBoolean:
            {
                int64 value;
                if (tree.getInt(row.key, value))
                    text =
                        row.kind == kBoolean ? (value ? "TRUE" : "FALSE") : std::to_string(value);
                break;
            }
            case kFloat:
            {
                double value;
                if (tree.getFloat(row.key, value))
                    text = formatNumber(value, "%.2f");
                break;
            }
            case kRational:
            {
                double value;
                if (tree.getFloat(row.key, value) && value > 0)
                    text = masterSpeed(value);
                break;
            }
            case kLowHalf:
            case kHighHalf:
                if (originSamples >= 0)
                    text = std::to_string(row.kind == kLowHalf ? uint64(originSamples) & 0xFFFFFFFFu
                                                               : uint64(originSamples) >> 32);
                break;
            case kCustomMerging:
            {
                int64 seconds;
                if (tree.getInt(row.key, seconds))
                {
                    std::time_t t = std::time_t(seconds);
                    std::tm tm = {};
                    gmtime_r(&t, &tm);
                    char value[32];
                    if (path == "BEXT/BWF_ORIGINATION_DATE")
                        std::snprintf(value, sizeof(value), "%d-%02d-%02d", tm.tm_year + 1900,
                                      tm.tm_mon + 1, tm.tm_mday);
                    else
                        std::snprintf(value, sizeof(value), "%02d:%02d:%02d", tm.tm_hour, tm.tm_min,
                                      tm.tm_sec);
                    text = value;
                }
                break;
            }
            default:
                break;
            }
            if (text.empty())
                continue;
            written.push_back(path);
            auto slash = path.find('/');
            if (slash == std::string::npos)
            {
                b.leaf(path, text);
                continue;
            }
            if (!opened)
            {
                b.open(first);
                opened = true;
            }
            b.leaf(path.substr(slash + 1), text);
        }
        if (opened)
            b.close();
    }
    b.close();
    return b.out;
}

} // namespace Quillmark
