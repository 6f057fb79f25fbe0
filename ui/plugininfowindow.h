// The information page of a plug-in class in a window: the class and module facts, then the
// trees of busses, parameters, note expressions and key switches, one tab each. It makes its
// own instance of the class for as long as it is open. Owned by Qt as a top-level window.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

namespace Quillmark
{

class FComponentRegistry;
class FComponentDescription;
class InfoPage;

namespace Qel
{
class PlugProvider;
}

class PluginInfoWindow : public QWidget
{
    Q_OBJECT
public:
    /** Null, with `error` set, when the class cannot be created or the skin is missing.
        `registry` is borrowed and outlives the window. */
    static PluginInfoWindow* create(FComponentRegistry& registry,
                                    const FComponentDescription& description,
                                    const SkinLoader& skins, QString* error = nullptr);
    ~PluginInfoWindow() override;

    InfoPage& getPage() const { return *page; }

private:
    explicit PluginInfoWindow(Qel::PlugProvider* provider);
    bool build(const SkinLoader& skins, QString* error);

    Qel::PlugProvider* provider;
    InfoPage* page = nullptr;
};

} // namespace Quillmark
