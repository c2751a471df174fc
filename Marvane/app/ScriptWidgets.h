#pragma once
// What a script does to the window's widgets, found by object name (a control's or a tree's
// node id): the same steps a user takes, through the widgets' own signals, so that panels hear
// of them as of a person's. Each answers one line starting "ok" or "error".
//
//   ui set NAME TEXT          types TEXT into a text field (replacing what it held)
//   ui key NAME escape        presses Escape in a text field
//   ui text NAME              ok TEXT (a text field's or a label's text; line breaks as " | ")
//   ui focus NAME             gives the widget the keyboard focus (and its panel the commands)
//   ui shown NAME             ok 1|0 enabled=1|0
//   ui rows NAME              ok count=N A|B|C (a tree's rows reachable through open folders,
//                             by their first column's text, children indented by ">")
//   ui open NAME ROW          opens the folder row whose first column reads ROW
//   ui select NAME ROW...     selects the rows whose first column reads ROW
//   ui frame NAME ROW         ok X Y W H (the row's first cell on the screen, in pixels)
//   ui columns NAME           ok Name:200|Size:120 sort=Name asc row-height=25
//   ui resize-column NAME TITLE WIDTH | ui move-column NAME TITLE POSITION | ui sort NAME TITLE
//   ui slider NAME VALUE      drags a slider to VALUE (0.0 to 1.0) and lets go
//   ui value NAME             ok VALUE (a slider's value, 0.0 to 1.0)
//   ui wheel NAME STEPS ctrl|none   turns the mouse wheel over a tree
//   ui click NAME             clicks a button
#include <QWidget>
#include <string>
#include <vector>

namespace host {

// fields[0] is "ui"; fields[1] the verb, fields[2] the widget's name.
std::string RunWidgetCommand(QWidget& window, const std::vector<std::string>& fields);

} // namespace host
