#include "audiofile/abroadcastattrcontroller.h"

#include "audiofile/audiofilekeys.h"

#include <cstdio>
#include <ctime>

namespace Quillmark
{

using namespace AudioKeys;

namespace
{

const char* const kKeys[] = {nullptr, kBWFDescription, kAuthor, kBWFOrigRef, nullptr, nullptr};
const char* const kNames[] = {nullptr, "description", "originator", "originatorReference",
                              "date",  "time"};

std::tm utc(int64 seconds)
{
    std::time_t t = std::time_t(seconds);
    std::tm tm = {};
    gmtime_r(&t, &tm);
    return tm;
}

} // namespace

ABroadcastAttrController::ABroadcastAttrController(FAttributes& tree,
                                                   const ConstString& defaultDescription,
                                                   const ConstString& defaultOriginator, int64 now)
    : UValueContainer(nullptr), tree(tree)
{
    tree.addRef();
    for (int32 tag = kDescription; tag <= kTime; ++tag)
        adopt(new UStringValue(kNames[tag], tag));

    auto fill = [&](Tag tag, const ConstString& fallback)
    {
        String text;
        if (!tree.getString(kKeys[tag], text) || text.length() == 0)
        {
            text = fallback;
            if (text.length() > 0)
                tree.setString(kKeys[tag], text);
        }
        value(tag)->setValue(text, false);
    };
    fill(kDescription, defaultDescription);
    fill(kOriginator, defaultOriginator);
    fill(kOriginatorReference, kReferencePattern);
    tree.setInt(kRecordDate, now);
    showDateTime(now);
    stampReference(now);
    setHandler(this);
}

ABroadcastAttrController::~ABroadcastAttrController()
{
    setHandler(nullptr);
    tree.release();
}

UStringValue* ABroadcastAttrController::value(Tag tag) const
{
    return FCast<UStringValue>(findValueByTag(tag));
}

void ABroadcastAttrController::showDateTime(int64 seconds)
{
    std::tm tm = utc(seconds);
    char text[32];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d", tm.tm_year + 1900, tm.tm_mon + 1,
                  tm.tm_mday);
    value(kDate)->setValue(text, false);
    std::snprintf(text, sizeof(text), "%02d:%02d:%02d", tm.tm_hour, tm.tm_min, tm.tm_sec);
    value(kTime)->setValue(text, false);
}

void ABroadcastAttrController::stampReference(int64 seconds)
{
    String reference;
    if (!tree.getString(kBWFOrigRef, reference))
        return;
    std::string text = reference.toUtf8();
    if (text.size() != 32)
        return;
    std::tm tm = utc(seconds);
    char stamp[80];
    std::snprintf(stamp, sizeof(stamp), "%d%d%d%d%d%d", tm.tm_hour / 10, tm.tm_hour % 10,
                  tm.tm_min / 10, tm.tm_min % 10, tm.tm_sec / 10, tm.tm_sec % 10);
    text.replace(17, 6, std::string(stamp).substr(0, 6));
    tree.setString(kBWFOrigRef, text.c_str());
    value(kOriginatorReference)->setValue(text.c_str(), false);
}

void ABroadcastAttrController::setDateTime(const std::string& text, bool isDate)
{
    int64 seconds = 0;
    tree.getInt(kRecordDate, seconds);
    std::tm tm = utc(seconds);
    int a = 0, b = 0, c = 0;
    const char* format = isDate ? "%d-%d-%d" : "%d:%d:%d";
    if (std::sscanf(text.c_str(), format, &a, &b, &c) != 3)
    {
        showDateTime(seconds); // an edit that is no date shows the stored one again
        return;
    }
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
    seconds = int64(timegm(&tm));
    tree.setInt(kRecordDate, seconds);
    showDateTime(seconds);
    if (!isDate)
        stampReference(seconds);
}

void ABroadcastAttrController::onValueChanged(UValue* changed)
{
    auto* text = FCast<UStringValue>(changed);
    if (!text)
        return;
    const int32 tag = text->getTag();
    if (tag == kDate || tag == kTime)
        setDateTime(text->getValue().toUtf8(), tag == kDate);
    else if (tag >= kDescription && tag <= kOriginatorReference)
        tree.setString(kKeys[tag], text->getValue());
}

} // namespace Quillmark
