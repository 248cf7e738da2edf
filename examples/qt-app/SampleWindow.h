// The sample's main window: every text goes through tr() or qtTrId(), and is set again on
// each LanguageChange, as a Qt application written for translation files does.
#pragma once

#include <QMainWindow>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

class SampleWindow final : public QMainWindow {
  Q_OBJECT

 public:
  explicit SampleWindow(QWidget* parent = nullptr);
  // One line per visible widget with a name: objectName, text and key, tab-separated.
  QStringList describeTexts();

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void retranslate();
  QLabel* title_;
  QLabel* subtitle_;
  QLabel* greeting_;
  QLabel* cart_;
  QLabel* footer_;
  QLineEdit* search_;
  QListWidget* list_;
  QPushButton* checkout_;
  QPushButton* help_;
};
