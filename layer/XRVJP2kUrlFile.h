// A ".url" file: a small text file that names an image stream on a line "URL=address".
#pragma once

#include <QtCore/QString>

class XRVJP2kUrlFile {
public:
    enum Result { Read, CannotOpen, UnsupportedProtocol };

    // Reads the address lines of the file at path. Each accepted line replaces address;
    // a file without one leaves it as it was. Stops at the first line that names a protocol
    // other than a stream ("xrvp", "xrvps") or "jpip".
    static Result readAddress(const QString& path, QString& address);

    // The address of one line, or a null string when the line names none.
    static QString addressOfLine(const QString& line);
};
