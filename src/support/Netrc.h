#pragma once

#include <optional>

#include <QString>

// The password ~/.netrc gives for a host and user: the first "machine" entry for the host whose login is
// the user (or that names no login), else the "default" entry. Nothing when the file says nothing.
std::optional<QString> NetrcPassword(const QString& strNetrcText, const QString& strHost, const QString& strUser);
