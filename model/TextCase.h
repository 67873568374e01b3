#pragma once

#include <QString>

// Upper-cases the first character of every word and lower-cases the rest;
// words are separated by white space. "pro lite" gives "Pro Lite".
QString capitalizeWords(const QString &text);
