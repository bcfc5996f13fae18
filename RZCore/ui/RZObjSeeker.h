#pragma once
// A small query language over a tree, written as a chain of calls:
//
//     QObject* ok = RZObjSeeker(dialog).descendants(false).inheritFrom("QPushButton")
//                       .objectName(QStringLiteral("ok")).firstResult();
//
// Each call adds a stage to the seeker itself and returns it; nothing is visited until results()
// or firstResult() runs. A stage takes an element and the next stage, pushes what it produces to
// the next stage, and returns true to stop the whole walk, so looking for the first hit doesn't
// walk the rest of the tree. A seeker may be run any number of times; each run walks afresh.

#include <RZCore/RZCoreExport.h>

#include <QString>
#include <QVariant>

#include <functional>
#include <set>
#include <vector>

class QObject;

template <typename T, typename Derived> class Seeker
{
public:
    using Next = std::function<bool(const T&)>;
    using Stage = std::function<bool(const T&, const Next&)>;

    Seeker() = default;
    // The chain starts with `start`, whatever the run's input.
    explicit Seeker(const T& start)
    {
        filter = [start](const T&, const Next& next) { return next(start); };
    }

    // Lets through the elements for which `predicate` is true.
    Derived& matchPredicate(const std::function<bool(const T&)>& predicate)
    {
        return addFilter([predicate](const T& x, const Next& next) { return predicate(x) && next(x); });
    }

    // Lets each element through once per run.
    Derived& unique()
    {
        // The set lives in the stage object; every run works on a fresh copy of the chain, so it
        // starts empty each time.
        return addFilter([seen = std::set<T>()](const T& x, const Next& next) mutable {
            if (!seen.insert(x).second)
                return false;
            return next(x);
        });
    }

    // Ends the walk after the first element that reaches this stage.
    Derived& firstOne()
    {
        return addFilter([](const T& x, const Next& next) {
            next(x);
            return true;
        });
    }

    std::vector<T> results()
    {
        std::vector<T> found;
        if (!filter)
            return found;
        const Stage run = filter; // a fresh copy: stage state never outlives a run
        run(T(), [&found](const T& x) {
            found.push_back(x);
            return false;
        });
        return found;
    }

    // Adds firstOne() to this seeker for good, then runs it. A default T when nothing got through.
    T firstResult()
    {
        firstOne();
        T found = T();
        const Stage run = filter;
        run(T(), [&found](const T& x) {
            found = x;
            return false;
        });
        return found;
    }

protected:
    Derived& addFilter(const Stage& stage)
    {
        if (!filter) {
            filter = stage;
        } else {
            // The new stage sees what the old chain produces. A copy of the stage is bound for
            // each run, which keeps per-run state (unique's set) apart between runs.
            filter = [old = filter, stage](const T& x, const Next& next) {
                const Next bound = [stageCopy = stage, next](const T& y) mutable {
                    return stageCopy(y, next);
                };
                return old(x, bound);
            };
        }
        return static_cast<Derived&>(*this);
    }

private:
    Stage filter;
};

// Seeker over a QObject tree. Class and property names are kept as pointers, not copied: they must
// stay valid until the query has run (string literals do). Texts and values are copied.
class RZCORE_EXPORT RZObjSeeker : public Seeker<QObject*, RZObjSeeker>
{
public:
    RZObjSeeker();
    explicit RZObjSeeker(QObject* start);

    // Stages that produce elements.
    RZObjSeeker& parent();
    RZObjSeeker& children();
    // `x` if includeSelf, then each parent upwards.
    RZObjSeeker& ancestor(bool includeSelf);
    // `x` if includeSelf, then every descendant, parents before their children (the order of a
    // recursive findChildren), without building the list first.
    RZObjSeeker& descendants(bool includeSelf);
    RZObjSeeker& root();
    RZObjSeeker& leafs();

    // Predicates.
    RZObjSeeker& objectName(const QString& name);
    RZObjSeeker& inheritFrom(const char* className);
    RZObjSeeker& hasProperty(const char* name);
    RZObjSeeker& property(const char* name, const QVariant& value);
};
