// The sample's scene: plain QML with qsTr() and qsTrId(), a plural, a field's placeholder and
// a language switcher bound to the library's QML module. Nothing in it calls the library
// for its texts.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvana

ApplicationWindow {
    id: window
    objectName: "window"
    width: 480
    height: 420
    visible: true
    title: qsTr("Tolvana QML sample")

    property int cartItems: 3

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 18
        spacing: 12

        Label {
            objectName: "title"
            text: qsTr("Welcome")
            font.pixelSize: 26
            font.bold: true
        }
        Label {
            objectName: "subtitle"
            text: qsTr("This scene is plain QML; its texts come from the translation store.")
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        Label {
            objectName: "cart"
            text: qsTr("%n item(s) in your cart", "", window.cartItems)
        }
        TextField {
            objectName: "search"
            placeholderText: qsTr("Search")
            Layout.fillWidth: true
        }
        RowLayout {
            spacing: 10
            Label {
                objectName: "languageLabel"
                text: qsTr("Language")
            }
            ComboBox {
                objectName: "language"
                model: Tolvana.availableLanguages
                currentIndex: Tolvana.availableLanguages.indexOf(Tolvana.language)
                onActivated: Tolvana.setLanguage(currentText)
            }
        }
        Button {
            objectName: "checkout"
            text: qsTr("Check out")
        }
        Item {
            Layout.fillHeight: true
        }
        Label {
            objectName: "footer"
            text: qsTrId("footer.note")
            color: "#555555"
        }
    }
}
