#include "ViewTestSupport.h"

#include <QQmlComponent>
#include <QQmlEngine>

#include <gtest/gtest.h>

namespace lumora::test {

// The module is compiled into the program and found through the resource import path.
TEST(QmlModule, ImportsWithoutWarnings) {
    WarningLog warnings;
    auto engine = makeQmlEngine();
    QQmlComponent component(engine.get());
    component.setData("import QtQuick\nimport Lumora\nItem {}\n", QUrl());
    std::unique_ptr<QObject> item(component.create());
    ASSERT_NE(item, nullptr) << component.errorString().toStdString();
    EXPECT_TRUE(warnings.messages().isEmpty()) << warnings.messages().join('\n').toStdString();
}

} // namespace lumora::test
