// What the scan tests share: an owner for an interface a test asked a plug-in object for, the
// UTF-8 form of a text field of a plug-in record, and the two ways a test reports a line. Used
// by the scan tests only; each test owns what it queries for the length of one run.
#pragma once

#include "base/fstring.h"
#include "qel3/funknown.h"
#include "qel3/icomponent.h"
#include "qel3/itest.h"
#include "qel3/qeltypes.h"

#include <functional>
#include <string>
#include <utility>

namespace Quillmark
{
namespace Qel
{

/** Holds the reference that a successful queryInterface added, and gives it back on every way
    out of a test. Empty when the object does not offer the interface. */
template <class I> class Queried
{
public:
    explicit Queried(FUnknown* object)
    {
        void* answer = nullptr;
        if (object && object->queryInterface(I::iid.bytes, &answer) == kResultOk && answer)
            pointer = static_cast<I*>(answer);
    }
    ~Queried()
    {
        if (pointer)
            pointer->release();
    }
    Queried(Queried&& other) noexcept : pointer(std::exchange(other.pointer, nullptr)) {}
    Queried(const Queried&) = delete;
    Queried& operator=(const Queried&) = delete;

    I* operator->() const { return pointer; }
    I* get() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }

private:
    I* pointer = nullptr;
};

/** The UTF-8 form of a 16-bit text field of a record; a field without a terminator ends at its
    last unit, so a careless plug-in cannot make the host read past it. */
std::string fieldText(const TChar* field, uint32 capacity = 128);

/** True for a field whose first unit ends it. */
inline bool isEmptyField(const TChar* field)
{
    return !field || field[0] == 0;
}

/** The controller's interface `I` for a test that needs it. Without a controller, or when the
    controller lacks `I` (`missingText` says so), the result hears why and the holder is empty:
    an unsupported feature passes. */
template <class I>
Queried<I> controllerFeature(FUnknown* controller, ITestResult* result, const char8* missingText)
{
    if (!controller)
    {
        result->addMessage("No Edit Controller supplied!");
        return Queried<I>(nullptr);
    }
    Queried<I> feature(controller);
    if (!feature)
        result->addMessage(missingText);
    return feature;
}

/** Calls `visit(bus, channel)` for each channel of each event input bus of `plug`, in order, as
    long as it answers true; answers false when a visit did. A bus whose record cannot be read
    has no channels. */
bool forEachEventInputChannel(IComponent& plug,
                              const std::function<bool(int32 bus, int16 channel)>& visit);

/** Adds `text` to the result's messages. */
void addMessage(ITestResult* result, const String& text);
/** Adds `text` to the result's errors. */
void addError(ITestResult* result, const String& text);

} // namespace Qel
} // namespace Quillmark
