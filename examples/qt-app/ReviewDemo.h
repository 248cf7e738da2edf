// ReviewDemo: a tester's walk through the review tools, scripted for the demo: with the
// library's UI-test overlay up, it opens the strip, picks the first screen tag the server
// offers, captures the screen, saves a picture of the app with the overlay open, and files
// an issue. It prints what it did and ends the app.
#pragma once

#include <QString>

class QWidget;

void runReviewDemo(QWidget* window, const QString& overlayPng);
