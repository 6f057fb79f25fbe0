// FController: the base of the host's controllers, offering values and child controllers by
// name and hearing its values' changes in one handler that switches on the tag.
// FControllerList keeps counted references to a set of controllers.
#pragma once

#include "base/values/uvalue.h"

#include <vector>

namespace Quillmark
{

/** What a view asks of a controller: values and child controllers by path or name. */
class IController : public FUnknown
{
public:
    /** The value at `path`, with a reference added; kResultFalse and null when there is
        none. */
    virtual tresult getValue(const ConstString& path, IValue** value) = 0;
    /** The child controller of that name, with a reference added. */
    virtual tresult getController(const ConstString& name, IController** controller) = 0;
    /** Answers a named yes-or-no question of a view, such as whether an optional row exists. */
    virtual bool checkCondition(const ConstString& name) = 0;

    QEL_INTERFACE_IID(0x846AD62A, 0xB03040E5, 0xA2A9127C, 0xC2040491);
};

/** What the host side asks of a controller: the one handler its values report to. */
class IHostController : public FUnknown
{
public:
    /** `value` (borrowed) has a new value. */
    virtual void valueChanged(IValue* value) = 0;

    QEL_INTERFACE_IID(0x3C7DBBC4, 0xC7C9452E, 0x9CF16B37, 0xF5E45F81);
};

class FController : public CmObject, public IController, public IHostController
{
    QEL_DECLARE_CLASS(FController, CmObject)
public:
    FController() = default;
    FController(const FController&) = delete;
    FController& operator=(const FController&) = delete;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    // IController, over the virtuals below
    tresult getValue(const ConstString& path, IValue** value) override;
    tresult getController(const ConstString& name, IController** controller) override;
    bool checkCondition(const ConstString& name) override { return testCondition(name); }

    // IHostController
    /** Hands a host value to onValueChanged; a foreign value is ignored. */
    void valueChanged(IValue* value) override;

    /** The value at `path` (borrowed), or null. A controller without values has none. */
    virtual UValue* findValue(const ConstString& path) const;
    /** The child controller of that name (borrowed), or null. */
    virtual FController* findController(const ConstString& name) const;
    virtual bool testCondition(const ConstString& name) const { return false; }

    /** The value `path` as kind T (borrowed), or null when it is missing or of another kind. */
    template <class T> T* find(const ConstString& path) const { return FCast<T>(findValue(path)); }

    /** A value this controller listens to changed: switch on its tag here. */
    virtual void onValueChanged(UValue* value) {}

    /** A controller that is a dependent of a value hears its kChanged here. */
    using CmObject::update;
    void update(FObject* sender, int32 message) override;
};

class FControllerList : public CmObject
{
    QEL_DECLARE_CLASS(FControllerList, CmObject)
public:
    FControllerList() = default;
    ~FControllerList() override;
    FControllerList(const FControllerList&) = delete;
    FControllerList& operator=(const FControllerList&) = delete;

    /** Holds its own reference; a controller is in the list at most once. */
    bool add(FController* controller);
    /** Releases the controller; false when it is not in the list. */
    bool remove(FController* controller);
    void removeAll();

    int32 count() const { return int32(controllers.size()); }
    /** The controller at `index` (borrowed), or null. */
    FController* at(int32 index) const;
    int32 indexOf(const FController* controller) const;

private:
    std::vector<FController*> controllers;
};

} // namespace Quillmark
