#include "ui/valuebinder.h"

#include "base/updatehandler.h"
#include "base/values/umenuvalue.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/uvalue.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPointer>
#include <QProgressBar>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolButton>

#include <cmath>
#include <functional>

namespace Quillmark
{

namespace
{

/** Sliders move in this many steps over the value's range. */
constexpr int kSliderSteps = 1000;

QString textOf(const UValue& value)
{
    String text;
    value.getText(text);
    return QString::fromStdString(text.toUtf8());
}

} // namespace

/** One widget and one value: a dependent of the value, and connected to the widget's signals. */
class ValueBinder::Link : public CmObject
{
public:
    Link(QWidget* widget, UValue* value) : widget(widget), value(value)
    {
        value->addRef();
        UpdateHandler::instance()->addDependent(static_cast<FObject*>(value), this);
    }
    ~Link() override
    {
        for (const QMetaObject::Connection& connection : connections)
            QObject::disconnect(connection);
        letGo();
    }

    void connect(QMetaObject::Connection connection) { connections.push_back(connection); }

    /** Shows the value in the widget without sending it back. */
    void show()
    {
        if (!widget || !value)
            return;
        const QSignalBlocker blocker(widget.data());
        widget->setEnabled(value->isEnabled());
        if (auto* list = FCast<UStringListValue>(value); list && qobject_cast<QListWidget*>(widget))
        {
            auto* view = qobject_cast<QListWidget*>(widget);
            view->clear();
            for (int32 index = 0; index < list->countStrings(); ++index)
                view->addItem(QString::fromStdString(list->getString(index).toUtf8()));
        }
        else if (auto* combo = qobject_cast<QComboBox*>(widget))
        {
            if (auto* menu = FCast<UMenuValue>(value))
            {
                combo->clear();
                for (int32 index = 0; index < menu->countItems(); ++index)
                    combo->addItem(
                        QString::fromStdString(menu->getItem(index)->getTitle().toUtf8()));
                combo->setCurrentIndex(menu->getIndex());
            }
            else if (auto* strings = FCast<UStringListValue>(value))
            {
                // The list names its own entries; rebuilt only when they changed.
                bool same = combo->count() == strings->countStrings();
                for (int32 index = 0; same && index < strings->countStrings(); ++index)
                    same =
                        combo->itemText(index).toStdString() == strings->getString(index).toUtf8();
                if (!same)
                {
                    combo->clear();
                    for (int32 index = 0; index < strings->countStrings(); ++index)
                        combo->addItem(QString::fromStdString(strings->getString(index).toUtf8()));
                }
                combo->setCurrentIndex(value->getInt());
            }
            else
            {
                // The window may have named the steps; otherwise they are numbered.
                const int first = int(value->getMin()), last = int(value->getMax());
                if (combo->count() != last - first + 1)
                {
                    combo->clear();
                    for (int step = first; step <= last; ++step)
                        combo->addItem(QString::number(step));
                }
                combo->setCurrentIndex(value->getInt() - first);
            }
        }
        else if (auto* tool = qobject_cast<QToolButton*>(widget); tool && FCast<UMenuValue>(value))
        {
            // The menu was built when binding; the chosen item shows as a tip.
            auto* menu = FCast<UMenuValue>(value);
            UMenuEntry* chosen = menu->getSelectedItem();
            tool->setToolTip(chosen ? QString::fromStdString(chosen->getTitle().toUtf8())
                                    : QString());
        }
        else if (auto* button = qobject_cast<QAbstractButton*>(widget))
        {
            if (button->isCheckable())
                button->setChecked(value->getInt() != 0);
        }
        else if (auto* slider = qobject_cast<QAbstractSlider*>(widget))
        {
            slider->setRange(0, kSliderSteps);
            slider->setValue(int(std::lround(value->getNormalized() * kSliderSteps)));
        }
        else if (auto* spin = qobject_cast<QSpinBox*>(widget))
        {
            spin->setRange(int(value->getMin()), int(value->getMax()));
            spin->setValue(value->getInt());
        }
        else if (auto* spin = qobject_cast<QDoubleSpinBox*>(widget))
        {
            spin->setRange(value->getMin(), value->getMax());
            spin->setValue(value->getFloat());
        }
        else if (auto* edit = qobject_cast<QLineEdit*>(widget))
        {
            if (!edit->hasFocus())
                edit->setText(textOf(*value));
        }
        else if (auto* label = qobject_cast<QLabel*>(widget))
            label->setText(textOf(*value));
        else if (auto* bar = qobject_cast<QProgressBar*>(widget))
        {
            bar->setRange(0, kSliderSteps);
            bar->setValue(int(std::lround(value->getNormalized() * kSliderSteps)));
        }
    }

    UValue* getValue() const { return value; }

    using CmObject::update;
    void update(FUnknown*, int32 message) override
    {
        if (message == kDestroyed)
        {
            // The value ends: let go without touching it again.
            UpdateHandler::instance()->removeDependent(static_cast<FObject*>(value), this);
            value->release();
            value = nullptr;
            return;
        }
        show();
    }

private:
    void letGo()
    {
        if (!value)
            return;
        UpdateHandler::instance()->removeDependent(static_cast<FObject*>(value), this);
        value->release();
        value = nullptr;
    }

    QPointer<QWidget> widget;
    UValue* value;
    std::vector<QMetaObject::Connection> connections;
};

ValueBinder::ValueBinder(QObject* parent) : QObject(parent) {}

ValueBinder::~ValueBinder()
{
    unbindAll();
}

void ValueBinder::unbindAll()
{
    for (std::unique_ptr<Link>& link : links)
        link.release()->release(); // a Link is reference counted; the binder held the first
    links.clear();
}

int ValueBinder::bind(QWidget* root, const Finder& find)
{
    int bound = 0;
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    for (QWidget* widget : widgets)
    {
        const std::string name = widget->objectName().toStdString();
        if (name.empty())
            continue;
        if (UValue* value = find(name))
            bound += bindWidget(widget, value) ? 1 : 0;
    }
    return bound;
}

bool ValueBinder::bindWidget(QWidget* widget, UValue* value)
{
    auto link = std::make_unique<Link>(widget, value);
    Link* raw = link.get();
    auto current = [raw] { return raw->getValue(); };
    if (qobject_cast<QListWidget*>(widget))
    {
        // Only shows: the selection of a list is the window's business.
    }
    else if (auto* combo = qobject_cast<QComboBox*>(widget))
        raw->connect(QObject::connect(combo, &QComboBox::activated,
                                      [current](int index)
                                      {
                                          UValue* v = current();
                                          if (!v || index < 0)
                                              return;
                                          if (auto* menu = FCast<UMenuValue>(v))
                                              menu->setIndex(index);
                                          else
                                              v->setInt(int32(v->getMin()) + index);
                                      }));
    else if (auto* tool = qobject_cast<QToolButton*>(widget); tool && FCast<UMenuValue>(value))
    {
        // The tree of the value becomes the button's menu; a leaf sets the value to its
        // depth-first number, which is how the value counts its items.
        auto* popup = new QMenu(tool);
        int32 counter = 0;
        std::function<void(QMenu*, UMenuEntry*)> fill = [&](QMenu* into, UMenuEntry* entry)
        {
            for (int32 index = 0; index < entry->countEntries(); ++index)
            {
                UMenuEntry* child = entry->entryAt(index);
                const QString title = QString::fromStdString(child->getTitle().toUtf8());
                if (child->countEntries() > 0)
                {
                    fill(into->addMenu(title), child);
                    continue;
                }
                QAction* action = into->addAction(title);
                action->setEnabled(child->isEnabled());
                const int32 number = counter++;
                QObject::connect(action, &QAction::triggered,
                                 [current, number]
                                 {
                                     // Picking the item that is chosen already is still
                                     // a choice: its owner hears of it again.
                                     if (auto* menu = FCast<UMenuValue>(current());
                                         menu && !menu->setIndex(number, true) &&
                                         menu->getIndex() == number)
                                         menu->changed();
                                 });
            }
        };
        fill(popup, FCast<UMenuValue>(value)->getRoot());
        tool->setMenu(popup);
        tool->setPopupMode(QToolButton::InstantPopup);
    }
    else if (auto* button = qobject_cast<QAbstractButton*>(widget))
    {
        if (button->isCheckable())
            raw->connect(QObject::connect(button, &QAbstractButton::toggled,
                                          [current](bool on)
                                          {
                                              if (UValue* v = current())
                                                  v->setInt(on ? 1 : 0);
                                          }));
        else
            // A press is 1; the controller acts and sets the button back to 0.
            raw->connect(QObject::connect(button, &QAbstractButton::clicked,
                                          [current]
                                          {
                                              if (UValue* v = current())
                                                  v->setInt(1);
                                          }));
    }
    else if (auto* slider = qobject_cast<QAbstractSlider*>(widget))
    {
        raw->connect(QObject::connect(slider, &QAbstractSlider::sliderPressed,
                                      [current]
                                      {
                                          if (UValue* v = current())
                                              v->beginEdit();
                                      }));
        raw->connect(QObject::connect(slider, &QAbstractSlider::valueChanged,
                                      [current](int step)
                                      {
                                          if (UValue* v = current())
                                              v->setNormalized(double(step) / kSliderSteps);
                                      }));
        raw->connect(QObject::connect(slider, &QAbstractSlider::sliderReleased,
                                      [current]
                                      {
                                          if (UValue* v = current())
                                              v->endEdit();
                                      }));
    }
    else if (auto* spin = qobject_cast<QSpinBox*>(widget))
        raw->connect(QObject::connect(spin, &QSpinBox::valueChanged,
                                      [current](int number)
                                      {
                                          if (UValue* v = current())
                                              v->setInt(number);
                                      }));
    else if (auto* spin = qobject_cast<QDoubleSpinBox*>(widget))
        raw->connect(QObject::connect(spin, &QDoubleSpinBox::valueChanged,
                                      [current](double number)
                                      {
                                          if (UValue* v = current())
                                              v->setFloat(number);
                                      }));
    else if (auto* edit = qobject_cast<QLineEdit*>(widget))
        raw->connect(QObject::connect(edit, &QLineEdit::editingFinished,
                                      [current, edit, raw]
                                      {
                                          if (UValue* v = current())
                                              v->setText(String(edit->text().toStdString()));
                                          raw->show(); // a text that did not parse reverts
                                      }));
    else if (!qobject_cast<QLabel*>(widget) && !qobject_cast<QProgressBar*>(widget))
    {
        link.release()->release();
        return false;
    }
    raw->show();
    links.push_back(std::move(link));
    return true;
}

} // namespace Quillmark
