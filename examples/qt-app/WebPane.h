// The sample's web page: HTML whose texts carry Tolvana's attributes, shown in a
// QWebEngineView the app creates like any other widget; tolvana-qt-web translates it.
#pragma once

#include <QString>

// Shows the page in a window of its own and, once its texts (also those of a paragraph the
// page adds after loading) have arrived, writes the window as a PNG to file and exits.
void showWebPaneAndSave(const QString& file);
