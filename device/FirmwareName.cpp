#include "FirmwareName.h"

#include <QStringList>

int FirmwareName::version(const QString &fileName)
{
    const QStringList fields = fileName.split(QLatin1Char('-'));
    if (fields.size() != 3)
        return -1;
    QString field = fields.at(1);
    if (!field.startsWith(QLatin1Char('V')) && !field.startsWith(QLatin1Char('v')))
        return -1;
    field.remove(QLatin1Char('V')).remove(QLatin1Char('v')).remove(QLatin1Char('.'));
    return field.toUShort(nullptr, 16);
}
