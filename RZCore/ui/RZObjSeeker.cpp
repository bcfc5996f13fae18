#include <RZCore/ui/RZObjSeeker.h>

#include <QObject>

namespace {

using Next = RZObjSeeker::Next;

// Pre-order, as a recursive findChildren lists them. True when `next` asked to stop.
bool walkDescendants(QObject* object, const Next& next)
{
    const QObjectList children = object->children(); // a copy: a stage may reparent objects
    for (QObject* child : children) {
        if (next(child) || walkDescendants(child, next))
            return true;
    }
    return false;
}

} // namespace

RZObjSeeker::RZObjSeeker() = default;

RZObjSeeker::RZObjSeeker(QObject* start) : Seeker<QObject*, RZObjSeeker>(start) {}

// A null element produces nothing and matches nothing.

RZObjSeeker& RZObjSeeker::parent()
{
    return addFilter([](QObject* const& x, const Next& next) {
        QObject* up = x ? x->parent() : nullptr;
        return up ? next(up) : false;
    });
}

RZObjSeeker& RZObjSeeker::children()
{
    return addFilter([](QObject* const& x, const Next& next) {
        if (!x)
            return false;
        const QObjectList children = x->children();
        for (QObject* child : children)
            if (next(child))
                return true;
        return false;
    });
}

RZObjSeeker& RZObjSeeker::ancestor(bool includeSelf)
{
    return addFilter([includeSelf](QObject* const& x, const Next& next) {
        if (!x)
            return false;
        if (includeSelf && next(x))
            return true;
        for (QObject* up = x->parent(); up; up = up->parent())
            if (next(up))
                return true;
        return false;
    });
}

RZObjSeeker& RZObjSeeker::descendants(bool includeSelf)
{
    return addFilter([includeSelf](QObject* const& x, const Next& next) {
        if (!x)
            return false;
        if (includeSelf && next(x))
            return true;
        return walkDescendants(x, next);
    });
}

RZObjSeeker& RZObjSeeker::root()
{
    ancestor(true);
    return matchPredicate([](QObject* const& x) { return x->parent() == nullptr; });
}

RZObjSeeker& RZObjSeeker::leafs()
{
    descendants(true);
    return matchPredicate([](QObject* const& x) { return x->children().isEmpty(); });
}

RZObjSeeker& RZObjSeeker::objectName(const QString& name)
{
    return matchPredicate([name](QObject* const& x) { return x && x->objectName() == name; });
}

RZObjSeeker& RZObjSeeker::inheritFrom(const char* className)
{
    return matchPredicate([className](QObject* const& x) { return x && x->inherits(className); });
}

RZObjSeeker& RZObjSeeker::hasProperty(const char* name)
{
    return matchPredicate([name](QObject* const& x) { return x && !x->property(name).isNull(); });
}

RZObjSeeker& RZObjSeeker::property(const char* name, const QVariant& value)
{
    return matchPredicate([name, value](QObject* const& x) { return x && x->property(name) == value; });
}
