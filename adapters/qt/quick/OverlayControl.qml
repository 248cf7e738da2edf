// One control of the review tools' overlay, drawn from the engine's description: a panel, a
// button, a text field or a list. Only plain QtQuick items, so a QML app needs no module
// beyond the one it already has.
import QtQuick

Rectangle {
    id: control

    property string kind: "panel"
    property string title
    property string accessibleName
    property color foreground: "black"
    property bool touchable: false
    property bool centred: false
    property var rows: []
    signal tapped(string text)
    signal edited(string text)

    // The engine echoes what was typed; writing it back unchanged would move the cursor.
    function setFieldText(text) {
        if (input.text !== text)
            input.text = text
    }
    function focusField() {
        input.forceActiveFocus()
    }

    Accessible.name: accessibleName
    border.width: kind === "textField" ? 1 : 0
    border.color: "#c8c8c8"

    Text {
        visible: control.kind === "button"
        anchors.centerIn: parent
        text: control.title
        color: control.foreground
        opacity: control.enabled ? 1 : 0.4
        font.pixelSize: 15
    }
    MouseArea {
        anchors.fill: parent
        enabled: control.kind === "button" && control.touchable
        onClicked: control.tapped("")
    }
    TextInput {
        id: input
        objectName: "input"
        visible: control.kind === "textField"
        enabled: control.touchable
        anchors.fill: parent
        anchors.leftMargin: 6
        anchors.rightMargin: 6
        verticalAlignment: TextInput.AlignVCenter
        horizontalAlignment: control.centred ? TextInput.AlignHCenter : TextInput.AlignLeft
        color: control.foreground
        font.pixelSize: 14
        clip: true
        onTextEdited: control.edited(text)
    }
    Text {
        visible: control.kind === "textField" && input.text === ""
        anchors.fill: input
        verticalAlignment: Text.AlignVCenter
        horizontalAlignment: input.horizontalAlignment
        text: control.title
        color: "#9a9a9a"
        font.pixelSize: 14
    }
    ListView {
        visible: control.kind === "list"
        anchors.fill: parent
        clip: true
        model: control.kind === "list" ? control.rows : []
        delegate: Rectangle {
            required property string modelData
            width: ListView.view.width
            height: 40
            color: "white"
            Accessible.name: "cell_" + modelData
            Text {
                anchors.verticalCenter: parent.verticalCenter
                x: 12
                text: parent.modelData
                color: Qt.rgba(0.19, 0.6, 0.84, 1)
                font.pixelSize: 15
            }
            MouseArea {
                anchors.fill: parent
                enabled: control.touchable
                onClicked: control.tapped(parent.modelData)
            }
        }
    }
}
