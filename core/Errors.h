#pragma once

#include <QString>

#include <exception>
#include <string>

namespace lumora {

// Base of every error this system throws. Each carries one fixed, user-facing description and
// nothing else; the views show that text as it is.
class Error : public std::exception {
public:
    explicit Error(QString description)
        : m_description(std::move(description)), m_utf8(m_description.toStdString()) {}

    const QString& description() const noexcept { return m_description; }
    const char* what() const noexcept override { return m_utf8.c_str(); }

private:
    QString m_description;
    std::string m_utf8;
};

// A failure reported by the file system (open, write, rename, permissions, folder creation).
// The description is the platform's own error text.
class FileSystemError : public Error {
public:
    using Error::Error;
};

// Content that is not valid JSON. The description is the JSON parser's message.
class JsonSyntaxError : public Error {
public:
    using Error::Error;
};

// JSON that parses but does not have the expected shape: a required member missing, a member of
// the wrong type, an unknown enumeration string or an unreadable date.
class DecodingError : public Error {
public:
    DecodingError()
        : Error(QStringLiteral(QT_TRANSLATE_NOOP(
              "Messages", "The data could not be read because it is not in the correct format."))) {
    }
};

} // namespace lumora
