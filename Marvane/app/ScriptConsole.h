#pragma once
// Drives the host from its standard input, one command a line, fields separated by tabs, and
// answers each on standard output with one line starting "ok" or "error". Dialogs are answered
// from the script ("answer N", "text T") instead of waiting for a person. End of input quits.
//
//   open PATH | open-read-only PATH | close PATH | save PATH | reload PATH
//   status PATH            ok read-only=0|1 out-of-date=0|1 modified=0|1 holder=NAME sequences=A|B
//   add-sequence PATH NAME | read-only PATH 0|1 (ok reload=0|1)
//   lock PATH              ok offer=take-over|break-lock|none mode=TEXT (the page's lock line)
//   take-over PATH | break-lock PATH   clicks the page's button (the same answer as lock)
//   answer N | text T | files PATH... (the next open-files dialog's choice; none cancels)
//   dialogs (ok count=N last=TITLE) | panels (ok TITLE|TITLE)
//   recovered (ok count=N) | quit | help (ok commands=NAME|NAME...)
//   stall                  ok longest=MS (the longest the event loop stood still since asked)
//   move-to-trash PATH...  ok allowed | ok refused (what the production panel decided)
//   ui VERB NAME ...       what a user does to a widget of the window (ScriptWidgets.h)
//   command NAME           carries a declared command out as its menu item does (ok, or
//                          "error disabled" when the chain does not enable it)
#include <QElapsedTimer>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

class MainWindow;
class ScriptedDialogResponder;

class ScriptConsole final : public QObject {
public:
    ScriptConsole(MainWindow& window, std::function<void()> quit);

    // Runs one command line and returns its answer line (without the line end).
    std::string Execute(const std::string& line);

private:
    // One command of the table: its name, how many fields it takes, and what runs it.
    struct Command;
    static const std::vector<Command>& Commands();
    // The command of the table that line's fields name with the fields it takes; else null.
    static const Command* FindCommand(const std::vector<std::string>& fields);

    void ReadInput();

    MainWindow& mWindow;
    std::function<void()> mQuit;
    std::shared_ptr<ScriptedDialogResponder> mResponder;
    QSocketNotifier mNotifier;
    // The longest time the event loop went without turning, since it was last asked.
    QTimer mTick;
    QElapsedTimer mSinceTick;
    qint64 mLongestStall = 0;
    std::string mPending;
    bool mQuitting = false;
};

} // namespace host
