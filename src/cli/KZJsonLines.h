#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Writes a JSON array of objects whose keys keep the order they were added in (QJsonObject
// sorts them, and the order is part of what scripts read). One object per line.
class KZJsonLines
{
public:
    void beginObject();
    void add(const char *key, const QString &value);
    void add(const char *key, bool value);
    void add(const char *key, quint64 value);
    // null when there is no value.
    void add(const char *key, const std::optional<QString> &value);
    void add(const char *key, std::optional<double> value);
    void endObject();

    // The whole array, closed, UTF-8, ending with a line feed.
    [[nodiscard]] QByteArray finish() const;

    // value as a JSON string literal: quotes, backslashes and control characters escaped.
    [[nodiscard]] static QByteArray quoted(const QString &value);

private:
    void key(const char *name);

    QByteArray m_text;
    int m_objects = 0;
    bool m_firstKey = true;
};
