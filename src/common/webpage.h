#pragma once

#include <QString>
#include <QUrl>

// Pages of the service's web site ("/get-started", "/me?domain=demo"): on
// the configured web domain, with the API's scheme (https, or http for a
// service on loopback).
namespace WebPage {

QUrl url(const QString &pathAndQuery);

} // namespace WebPage
