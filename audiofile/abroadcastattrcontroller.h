// The values behind the Broadcast Wave dialog: description, originator, originator reference,
// date and time, each edit written at once into the attribute tree being edited. The
// controller holds a reference to that tree.
#pragma once

#include "base/fattributes.h"
#include "base/values/ustringvalue.h"
#include "base/values/uvaluecontainer.h"

namespace Quillmark
{

class ABroadcastAttrController : public UValueContainer
{
public:
    enum Tag : int32
    {
        kDescription = 1,
        kOriginator,
        kOriginatorReference,
        kDate,
        kTime,
    };
    /** The reference an application starts from: country, organisation, serial number, time
        of day (HHMMSS from index 17) and random part. */
    static constexpr const char* kReferencePattern = "CCOOONNNNNNNNNNNNHHMMSSRRRRRRRRR";

    /** Fills empty fields from the application's defaults and stamps the tree with `now`
        (seconds since 1970, UTC) as its recording date. */
    ABroadcastAttrController(FAttributes& tree, const ConstString& defaultDescription,
                             const ConstString& defaultOriginator, int64 now);
    ~ABroadcastAttrController() override;

    UStringValue* value(Tag tag) const;

    /** An edit of one of the five values goes to its key. */
    void onValueChanged(UValue* value) override;

    QEL_DECLARE_CLASS(ABroadcastAttrController, UValueContainer)

private:
    void setDateTime(const std::string& text, bool isDate);
    void stampReference(int64 seconds);
    void showDateTime(int64 seconds);

    FAttributes& tree;
};

} // namespace Quillmark
