// A Qt window with two fields; takes orders and reports on the descriptor that its argument names, by the
// same words as fields_gtk.py.

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QSocketNotifier>
#include <QVBoxLayout>
#include <map>
#include <unistd.h>

namespace {

int channel = -1;

void say(const QByteArray& line)
{
    static_cast<void>(write(channel, (line + '\n').constData(), static_cast<size_t>(line.size()) + 1));
}

/// Reports what happens to it.
class Field final : public QLineEdit {
public:
    explicit Field(const QByteArray& name)
        : name_(name)
    {
        connect(this, &QLineEdit::textChanged,
                [name](const QString& text) { say("text " + name + ' ' + text.toUtf8()); });
    }

protected:
    void focusInEvent(QFocusEvent* event) override
    {
        QLineEdit::focusInEvent(event);
        say("focus " + name_);
    }

private:
    const QByteArray name_;
};

class Window final : public QWidget {
public:
    explicit Window(const QList<QByteArray>& names)
    {
        setWindowTitle(QStringLiteral("fields"));
        auto* column = new QVBoxLayout(this);
        for (const auto& name : names) {
            fields_[name] = new Field(name);
            column->addWidget(fields_[name]);
        }
        resize(400, 200);
        show();
        say("shown");
    }

    void focus(const QByteArray& name) { fields_.at(name)->setFocus(); }
    void addLabels(int count)
    {
        for (int number = 0; number < count; ++number)
            layout()->addWidget(new QLabel(QString::number(number)));
    }

private:
    std::map<QByteArray, Field*> fields_;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    channel = QByteArray(argv[1]).toInt();
    auto window = std::make_unique<Window>(QList<QByteArray>{"one", "two"});

    const auto obey = [&](const QList<QByteArray>& words) {
        if (words[0] == "focus")
            window->focus(words[1]);
        else if (words[0] == "iconify")
            window->showMinimized();
        else if (words[0] == "labels")
            window->addLabels(words[1].toInt());
        else if (words[0] == "replace")
            window = std::make_unique<Window>(QList<QByteArray>{"three"});
        say("done");
    };
    QSocketNotifier orders(channel, QSocketNotifier::Read);
    QObject::connect(&orders, &QSocketNotifier::activated, [&] {
        QByteArray lines(1000, '\0');
        const auto length = read(channel, lines.data(), static_cast<size_t>(lines.size()));
        if (length <= 0)
            return QApplication::quit();
        for (const auto& line : lines.left(length).trimmed().split('\n'))
            obey(line.split(' '));
    });
    return QApplication::exec();
}
