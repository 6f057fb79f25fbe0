// UValueContainer: a controller's named values in parallel arrays (`values`, `names`) plus named
// child controllers; lookup by path, store and restore to the preference store. It holds a
// reference to each, and passes its values' changes to its handler, usually its owner.
#pragma once

#include "base/values/fcontroller.h"

#include <vector>

namespace Quillmark
{

class FDefaults;

/** A child controller known by a name; the container holds a reference to the controller. */
struct FControllerEntry
{
    String name;
    FController* controller = nullptr;
};

class UValueContainer : public FController
{
    QEL_DECLARE_CLASS(UValueContainer, FController)
public:
    /** `handler` (not counted) hears every change of the values; it must outlive the
        container or be cleared with setHandler. */
    explicit UValueContainer(IHostController* handler = nullptr);
    ~UValueContainer() override;

    void setHandler(IHostController* newHandler) { handler = newHandler; }
    IHostController* getHandler() const { return handler; }

    /** Adds `value` with a reference of its own, known by `name`, or by the value's name when
        `name` is empty. Refused (false) for null and for a value that is already here. */
    bool addValue(UValue* value, const ConstString& name = ConstString());
    /** Adds a new value and takes over the caller's reference to it; returns it (borrowed),
        or null when it was refused and released. */
    template <class T> T* adopt(T* value, const ConstString& name = ConstString())
    {
        bool added = addValue(value, name);
        if (value)
            value->release();
        return added ? value : nullptr;
    }
    bool removeValue(UValue* value);
    void removeAll();

    int32 countValues() const { return int32(values.size()); }
    /** The value at `index` (borrowed), or null. */
    UValue* valueAt(int32 index) const;
    /** The name the value at `index` is known by, or an empty text. */
    String nameAt(int32 index) const;
    /** The index of the value known by exactly this name, or -1. */
    int32 indexOf(const ConstString& name) const;
    /** The first value with this tag (borrowed), or null. */
    UValue* findValueByTag(int32 tag) const;
    /** A press of the button or switch with this tag, as a command or a click gives it: the
        change is handled even when the value already stands at 1. */
    void press(int32 tag);

    /** With dotted paths every component of a path but the last names a child controller. */
    void setDottedPaths(bool state) { dottedPaths = state; }
    bool hasDottedPaths() const { return dottedPaths; }
    /** The value at `path`; without dotted paths the whole path is one name. Names compare
        exactly, with case. */
    UValue* findValue(const ConstString& path) const override;

    /** Holds a reference to `controller` under `name`; refused for null and a name in use. */
    bool addController(const ConstString& name, FController* controller);
    bool removeController(const ConstString& name);
    int32 countControllers() const { return int32(controllers.size()); }
    FController* findController(const ConstString& name) const override;

    /** Writes every value under its name: a UStringValue as a string, a UFloatValue (and its
        kinds) as a double, any other value as a 32-bit integer. */
    void storeValues(FDefaults& section) const;
    /** Reads back what storeValues wrote through the values' own set operations, so values
        clip and dependents hear of changes. A missing key leaves its value as it is. */
    void restoreValues(const FDefaults& section);

    /** Passes changes of the values to the handler. */
    using FController::update;
    void update(FObject* sender, int32 message) override;

private:
    void forget(size_t index, bool releaseValue);

    IHostController* handler;
    std::vector<UValue*> values;
    std::vector<String> names;
    std::vector<FControllerEntry> controllers;
    bool dottedPaths = false;
};

} // namespace Quillmark
