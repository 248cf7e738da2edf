// An alert of the library's own in an app without widgets: a message, text fields and a row
// of actions. Only plain QtQuick items, so a QML app needs no module beyond the one it has.
import QtQuick

Rectangle {
    id: alert

    property string message
    // Each field: { name, placeholder, secure, text }.
    property var fields: []
    property var actions: []
    signal chosen(int action, var texts)

    function typedTexts() {
        let texts = []
        for (let i = 0; i < inputs.count; ++i)
            texts.push(inputs.itemAt(i).text)
        return texts
    }
    function choose(action) {
        chosen(action, typedTexts())
    }

    implicitWidth: 340
    implicitHeight: column.implicitHeight + 32
    color: "white"

    Column {
        id: column
        x: 16
        y: 16
        width: alert.width - 32
        spacing: 12

        Text {
            width: parent.width
            text: alert.message
            wrapMode: Text.Wrap
            font.pixelSize: 15
        }
        Repeater {
            id: inputs
            model: alert.fields
            delegate: Rectangle {
                required property var modelData
                property alias text: input.text
                objectName: modelData.name
                Accessible.name: modelData.name
                width: column.width
                height: 34
                border.width: 1
                border.color: "#c8c8c8"
                TextInput {
                    id: input
                    anchors.fill: parent
                    anchors.leftMargin: 8
                    anchors.rightMargin: 8
                    verticalAlignment: TextInput.AlignVCenter
                    text: parent.modelData.text
                    echoMode: parent.modelData.secure ? TextInput.Password : TextInput.Normal
                    font.pixelSize: 14
                    clip: true
                }
                Text {
                    visible: input.text === ""
                    anchors.fill: input
                    verticalAlignment: Text.AlignVCenter
                    text: parent.modelData.placeholder
                    color: "#9a9a9a"
                    font.pixelSize: 14
                }
            }
        }
        Row {
            anchors.right: parent.right
            spacing: 8
            Repeater {
                model: alert.actions
                delegate: Rectangle {
                    required property string modelData
                    required property int index
                    width: label.implicitWidth + 28
                    height: 34
                    radius: 4
                    color: Qt.rgba(0.19, 0.6, 0.84, 1)
                    Accessible.name: modelData
                    Text {
                        id: label
                        anchors.centerIn: parent
                        text: parent.modelData
                        color: "white"
                        font.pixelSize: 15
                    }
                    MouseArea {
                        anchors.fill: parent
                        onClicked: alert.choose(parent.index)
                    }
                }
            }
        }
    }
}
