#include "KZJsonLines.h"

#include <cmath>
#include <cstdio>

void KZJsonLines::beginObject()
{
    m_text += m_objects++ == 0 ? "\n  {" : ",\n  {";
    m_firstKey = true;
}

void KZJsonLines::key(const char *name)
{
    if (!m_firstKey)
        m_text += ", ";
    m_firstKey = false;
    m_text += quoted(QString::fromLatin1(name)) + ": ";
}

void KZJsonLines::add(const char *name, const QString &value)
{
    key(name);
    m_text += quoted(value);
}

void KZJsonLines::add(const char *name, bool value)
{
    key(name);
    m_text += value ? "true" : "false";
}

void KZJsonLines::add(const char *name, quint64 value)
{
    key(name);
    m_text += QByteArray::number(value);
}

void KZJsonLines::add(const char *name, const std::optional<QString> &value)
{
    if (!value) {
        key(name);
        m_text += "null";
        return;
    }
    add(name, *value);
}

void KZJsonLines::add(const char *name, std::optional<double> value)
{
    key(name);
    if (!value || !std::isfinite(*value))
        m_text += "null";
    else if (*value == std::floor(*value) && std::fabs(*value) < 9.0e15)
        m_text += QByteArray::number(qint64(*value));
    else
        m_text += QByteArray::number(*value, 'f', 3);
}

void KZJsonLines::endObject()
{
    m_text += '}';
}

QByteArray KZJsonLines::finish() const
{
    return m_objects == 0 ? QByteArray("[]\n") : "[" + m_text + "\n]\n";
}

QByteArray KZJsonLines::quoted(const QString &value)
{
    QByteArray out = "\"";
    for (const char c : value.toUtf8()) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (byte < 0x20 || byte == 0x7f) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", byte);
                out += escape;
            } else {
                out += c;
            }
        }
    }
    return out + '"';
}
