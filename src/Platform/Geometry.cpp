#include "Platform/Geometry.h"

namespace mosaro {

namespace {
QString number(double v)
{
    return QString::number(v, 'g', 15);
}
} // namespace

QString describe(const Rect& r)
{
    return QStringLiteral("(%1, %2, %3, %4)").arg(number(r.x), number(r.y), number(r.width), number(r.height));
}

QString describe(Point p)
{
    return QStringLiteral("(%1, %2)").arg(number(p.x), number(p.y));
}

QString describe(Size s)
{
    return QStringLiteral("(%1, %2)").arg(number(s.width), number(s.height));
}

} // namespace mosaro
