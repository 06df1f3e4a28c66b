// QELOption: typed, named settings, their vector and their owning list.
#ifndef QELOPTION_H
#define QELOPTION_H

#include "QELExport.h"
#include "QELString.h"
#include "QELStringList.h"
#include "QELVector.h"

// One named setting with a display name, a type ("Enumerated", "Boolean",
// "File" or free-form), a default, a value (empty means not specified) and
// a list of possible values with parallel display texts. The option owns
// every string of both lists and frees them when it is destroyed.
class QEL_API QELOption {
public:
    QELString name;
    QELString displayName;
    QELString type;
    QELString defaultValue;
    QELString description;
    QELString value;
    bool mandatory;
    bool transferable;
    QELString openMode;
    QELStringList possibleValues;
    QELStringList displayPossibleValues;

    explicit QELOption(const QELString& name);
    // Frees every possible value and display text.
    virtual ~QELOption();
    QELOption(const QELOption&) = delete;
    QELOption& operator=(const QELOption&) = delete;

    virtual void setName(const QELString& n);
    virtual const QELString& getName() const;
    virtual void setDisplayName(const QELString& n);
    // displayName, or name when displayName is empty.
    virtual const QELString& getDisplayName() const;
    virtual void setType(const QELString& t);
    virtual const QELString& getType() const;
    virtual void setDefaultValue(const QELString& v);
    virtual const QELString& getDefaultValue() const;
    // For Enumerated and Boolean, the display text of the default value.
    virtual const QELString& getDisplayDefaultValue() const;
    virtual void setDescription(const QELString& d);
    virtual const QELString& getDescription() const;
    virtual void setValue(const QELString& v);
    // The value as it was set, empty when not specified.
    virtual const QELString& getSpecifiedValue() const;
    // The value; else the empty text when it is a possible value; else the default.
    virtual const QELString& getValue() const;
    // For Enumerated and Boolean, the display text of getValue().
    virtual const QELString& getDisplayValue() const;
    virtual void setMandatory(bool m);
    virtual bool isMandatory() const;
    virtual void setTransferable(bool t);
    virtual bool isTransferable() const;
    virtual void setOpenMode(const QELString& m);
    virtual const QELString& getOpenMode() const;

    // False, nothing added, when an equal value is already possible; an empty
    // displayValue makes the value its own display text.
    bool addPossibleValue(const QELString& value, const QELString& displayValue);
    bool addPossibleValue(const QELString& value);
    // The shared empty string when index is out of range.
    const QELString& getPossibleValue(int index) const;
    const QELString& getDisplayPossibleValue(int index) const;
    // The display text of the possible value equal to value; value itself
    // (a reference to the argument) when there is none.
    const QELString& getDisplayPossibleValue(const QELString& value) const;
    // False when no possible value is at index.
    bool removePossibleValue(int index);
    void removePossibleValues();
    // Enumerated/Boolean: one of the possible values (case-sensitive). File:
    // empty only when not mandatory, else ending in "." plus a possible value
    // (case-insensitive), so a File option without extensions accepts no
    // name, deliberately. Any other type: always true.
    bool valueIsPossibleValue(const QELString& value) const;
};

// An ordered vector of QELOption pointers kept by name: options compare by
// name and match a QELString key without regard to case (strcasecmp). It
// does not own its options.
class QEL_API QELOptionVector : public QELOrderedVector {
public:
    QELOptionVector() : QELOrderedVector() { }
    explicit QELOptionVector(int capacity) : QELOrderedVector(capacity) { }

    virtual int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const;
    virtual int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const;
};

// The owning list of options: callers add options through `options`, and
// the list deletes every option it still holds when it is destroyed. Lookup
// by name is case-insensitive in getValue but case-sensitive in remove,
// deliberately.
class QEL_API QELOptionList {
public:
    QELOptionVector options;

    QELOptionList() { }
    virtual ~QELOptionList();
    QELOptionList(const QELOptionList&) = delete;
    QELOptionList& operator=(const QELOptionList&) = delete;

    // Takes out the first option named exactly name; the caller then owns it.
    // Null when none matches.
    QELOption* remove(const QELString& name);
    // Takes out this very option; null when it is not in the list.
    QELOption* remove(QELOption* option);
    // Deletes every option and empties the vector.
    void removeAll();
    // The value of the first option whose name matches without regard to
    // case; the shared empty string when there is none.
    const QELString& getValue(const QELString& name);
};

#endif
