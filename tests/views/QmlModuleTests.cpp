#include "ViewTestSupport.h"

#include "cubefield/AmbientCubeField.h"

#include <QQmlComponent>
#include <QQmlEngine>

#include <gtest/gtest.h>

namespace lumora::test {

// The module is compiled into the program and found through the resource import path; the cube
// field, built in a library of its own, is one of its elements.
TEST(QmlModule, ImportsWithoutWarningsAndHasTheCubeField) {
    WarningLog warnings;
    auto engine = makeQmlEngine();
    QQmlComponent component(engine.get());
    component.setData("import QtQuick\nimport Lumora\n"
                      "AmbientCubeField { width: 10; height: 10; reduceMotion: true }\n",
                      QUrl());
    std::unique_ptr<QObject> object(component.create());
    ASSERT_NE(object, nullptr) << component.errorString().toStdString();
    auto* field = qobject_cast<AmbientCubeField*>(object.get());
    ASSERT_NE(field, nullptr);
    EXPECT_TRUE(field->reduceMotion());
    EXPECT_TRUE(field->flags() & QQuickItem::ItemHasContents);
    EXPECT_EQ(field->acceptedMouseButtons(), Qt::NoButton);
    EXPECT_TRUE(warnings.messages().isEmpty()) << warnings.messages().join('\n').toStdString();
}

} // namespace lumora::test
