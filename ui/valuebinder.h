// Binds the widgets of a window to a controller's values by name: every widget whose objectName
// names a value shows it and moves it, and follows it when the value changes elsewhere. The
// logic never knows a widget. Owned by the window it binds; it lets go of every value before it
// goes.
#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class QWidget;

namespace Quillmark
{

class UValue;

class ValueBinder : public QObject
{
    Q_OBJECT
public:
    /** Finds the value a widget of that name binds to; null when there is none. */
    using Finder = std::function<UValue*(const std::string& name)>;

    explicit ValueBinder(QObject* parent = nullptr);
    ~ValueBinder() override;

    /** Binds `root` and every widget below it whose objectName `find` answers; answers how many
        were bound. Widgets of a kind that shows no value are left alone. */
    int bind(QWidget* root, const Finder& find);
    /** Binds one widget to `value`; false for a widget of a kind that shows no value. */
    bool bindWidget(QWidget* widget, UValue* value);
    /** Lets go of every value and widget. */
    void unbindAll();

    int countBindings() const { return int(links.size()); }

private:
    class Link;
    std::vector<std::unique_ptr<Link>> links;
};

} // namespace Quillmark
