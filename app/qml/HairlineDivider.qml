import QtQuick

// A one-pixel line across the popover's content.
Rectangle {
    id: divider

    implicitHeight: 1
    color: colors.separator

    PopoverColors {
        id: colors
    }
}
