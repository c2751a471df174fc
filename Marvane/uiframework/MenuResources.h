#pragma once
// Menus by id, from the host's menu resource (":/menus/menus.json"). Each item names a
// declared command; its text is the command's label, or the item's own label for commands
// that take their text from the menu. Enabled and checked states come from the command chain
// each time the menu opens.
#include "host/CoreTypes.h"

#include <QKeySequence>
#include <QMenu>
#include <functional>
#include <vector>

namespace host {

struct MenuItem {
    bool separator = false;
    ByteString command;
    ByteString label;       // localisation key with default
    bool checkable = false; // shows the command's checked status
};

// The items of a menu resource; empty when the id is unknown.
std::vector<MenuItem> FindMenuResource(const ByteString& menuID);
// The keys of the panels' commands, from the host's shortcut resource
// (":/menus/shortcuts.json": command name to key sequences, the first one shown in menus).
// They work while the focus is in a panel, unless the focused widget uses the key itself (a
// text field its editing keys).
std::vector<QKeySequence> FindCommandShortcuts(const ByteString& commandName);
// Gives a panel's content widget the keys of every command that has some.
void InstallPanelShortcuts(QWidget* panelContent, const std::function<void()>& focusPanel);
// A menu made from the resource (owned by parent), or null when the id is unknown.
QMenu* BuildMenu(const ByteString& menuID, QWidget* parent);
// Adds an action for a declared command to a menu, wired to the command chain.
QAction* AddCommandAction(QMenu* menu, const ByteString& commandName, const ByteString& labelKey,
                          bool checkable = false);

} // namespace host
