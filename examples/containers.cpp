// Containers with their own comparisons: a sorted tree of people and a
// case-insensitive map. Containers never own their items.
#include <cstdio>
#include <cstring>

#include "QELStd.h"

struct Person {
    const char* name;
    int age;
};

// Orders people by age; a key is a pointer to an int age.
class PeopleByAge : public QELRBTree {
public:
    int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const override
    {
        return person(a)->age - person(b)->age;
    }
    int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const override
    {
        return person(item)->age - *reinterpret_cast<const int*>(key);
    }

private:
    static const Person* person(const QELContainerItem* item) { return reinterpret_cast<const Person*>(item); }
};

const QELContainerItem* item(const Person& p) { return reinterpret_cast<const QELContainerItem*>(&p); }

int main()
{
    Person people[] = { { "Ada", 36 }, { "Linus", 21 }, { "Grace", 36 }, { "Ken", 50 } };
    PeopleByAge tree;
    for (const Person& p : people)
        tree.add(item(p), false, nullptr);

    std::printf("in age order:");
    QELRBTree::Iterator it(tree, true);
    for (QELContainerItem* i = it.get(); i != nullptr; i = it.next(1))
        std::printf(" %s(%d)", reinterpret_cast<Person*>(i)->name, reinterpret_cast<Person*>(i)->age);
    std::printf("\n");

    int age = 36;
    const QELContainerKey* key = reinterpret_cast<const QELContainerKey*>(&age);
    std::printf("aged 36:");
    for (QELContainerItem* i = it.findFirst(key); i != nullptr; i = it.findNext(key))
        std::printf(" %s", reinterpret_cast<Person*>(i)->name);
    std::printf("\n");

    // A map from names to values, ignoring case; values are not owned.
    QELSimpleStringHashtable ages(true, false, 16);
    for (Person& p : people)
        ages.add(QELString(p.name), &p.age);
    QELString lookup("GRACE");
    int* found = reinterpret_cast<int*>(ages.findFirst(reinterpret_cast<const QELContainerKey*>(&lookup), nullptr));
    std::printf("GRACE is %d\n", found ? *found : -1);

    // A string list keeps insertion order.
    QELStringList list;
    QELString one("one"), two("two");
    list.addElement(reinterpret_cast<const QELContainerItem*>(&one), false);
    list.addElement(reinterpret_cast<const QELContainerItem*>(&two), false);
    std::printf("list holds %d strings, \"two\" at index %d\n", list.size,
                list.findFirstElement(reinterpret_cast<const QELContainerKey*>(&two)));
    return 0;
}
