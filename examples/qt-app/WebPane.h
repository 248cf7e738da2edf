// The sample's web page: HTML whose texts carry Tolvana's attributes, shown in a
// QWebEngineView the app creates like any other widget; tolvana-qt-web translates it.
#pragma once

#include <QString>
#include <QWidget>
#include <memory>

// Shows the page in a window of its own and, once its texts (also those of a paragraph the
// page adds after loading) have arrived, writes the window as a PNG to file and exits. The
// caller keeps the window until the event loop has ended: the web engine wants its pages
// gone before the application.
std::unique_ptr<QWidget> showWebPaneAndSave(const QString& file);
