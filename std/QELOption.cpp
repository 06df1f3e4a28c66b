// QELOption: typed settings, their possible values and the owning option list.
#include "QELOption.h"
#include "QELMemory.h"

#include <strings.h>

#include <cstring>

namespace {

const QELContainerItem* asItem(const QELString* s)
{
    return reinterpret_cast<const QELContainerItem*>(s);
}

QELString* asString(QELContainerItem* item)
{
    return reinterpret_cast<QELString*>(item);
}

QELOption* asOption(QELContainerItem* item)
{
    return reinterpret_cast<QELOption*>(item);
}

} // namespace

// ---------------------------------------------------------------------------
// QELOption
// ---------------------------------------------------------------------------

QELOption::QELOption(const QELString& n) : name(n), mandatory(false), transferable(false)
{
}

QELOption::~QELOption()
{
    removePossibleValues();
}

void QELOption::setName(const QELString& n)
{
    name = n;
}
const QELString& QELOption::getName() const
{
    return name;
}
void QELOption::setDisplayName(const QELString& n)
{
    displayName = n;
}

const QELString& QELOption::getDisplayName() const
{
    return displayName.isEmpty() ? name : displayName;
}

void QELOption::setType(const QELString& t)
{
    type = t;
}
const QELString& QELOption::getType() const
{
    return type;
}
void QELOption::setDefaultValue(const QELString& v)
{
    defaultValue = v;
}
const QELString& QELOption::getDefaultValue() const
{
    return defaultValue;
}

const QELString& QELOption::getDisplayDefaultValue() const
{
    if (type == "Enumerated" || type == "Boolean") {
        const QELString& d = getDisplayPossibleValue(defaultValue);
        return d.isEmpty() ? defaultValue : d;
    }
    return defaultValue;
}

void QELOption::setDescription(const QELString& d)
{
    description = d;
}
const QELString& QELOption::getDescription() const
{
    return description;
}
void QELOption::setValue(const QELString& v)
{
    value = v;
}
const QELString& QELOption::getSpecifiedValue() const
{
    return value;
}

const QELString& QELOption::getValue() const
{
    if (!value.isEmpty())
        return value;
    if (valueIsPossibleValue(value))
        return value;
    return defaultValue;
}

const QELString& QELOption::getDisplayValue() const
{
    if (type == "Enumerated" || type == "Boolean") {
        const QELString& d = getDisplayPossibleValue(getValue());
        return d.isEmpty() ? getDisplayDefaultValue() : d;
    }
    return getValue();
}

void QELOption::setMandatory(bool m)
{
    mandatory = m;
}
bool QELOption::isMandatory() const
{
    return mandatory;
}
void QELOption::setTransferable(bool t)
{
    transferable = t;
}
bool QELOption::isTransferable() const
{
    return transferable;
}
void QELOption::setOpenMode(const QELString& m)
{
    openMode = m;
}
const QELString& QELOption::getOpenMode() const
{
    return openMode;
}

bool QELOption::addPossibleValue(const QELString& v, const QELString& displayValue)
{
    QELString* copy = qelNew<QELString>(v);
    if (possibleValues.addElement(asItem(copy), true) == -1) {
        delete copy;
        return false;
    }
    displayPossibleValues.addElement(asItem(qelNew<QELString>(displayValue.isEmpty() ? v : displayValue)));
    return true;
}

bool QELOption::addPossibleValue(const QELString& v)
{
    return addPossibleValue(v, emptyString);
}

const QELString& QELOption::getPossibleValue(int index) const
{
    QELContainerItem* item = possibleValues[index];
    return item == NULL ? emptyString : *asString(item);
}

const QELString& QELOption::getDisplayPossibleValue(int index) const
{
    QELContainerItem* item = displayPossibleValues[index];
    return item == NULL ? emptyString : *asString(item);
}

const QELString& QELOption::getDisplayPossibleValue(const QELString& v) const
{
    for (int i = possibleValues.size - 1; i >= 0; --i)
        if (*asString(possibleValues[i]) == v)
            return getDisplayPossibleValue(i);
    return v;
}

bool QELOption::removePossibleValue(int index)
{
    QELContainerItem* item = possibleValues.remove(index);
    if (item == NULL)
        return false;
    delete asString(item);
    delete asString(displayPossibleValues.remove(index));
    return true;
}

void QELOption::removePossibleValues()
{
    for (int i = 0; i < possibleValues.size; ++i)
        delete asString(possibleValues[i]);
    for (int i = 0; i < displayPossibleValues.size; ++i)
        delete asString(displayPossibleValues[i]);
    possibleValues.empty();
    displayPossibleValues.empty();
}

bool QELOption::valueIsPossibleValue(const QELString& v) const
{
    if (type == "Enumerated" || type == "Boolean") {
        for (int i = possibleValues.size - 1; i >= 0; --i)
            if (*asString(possibleValues[i]) == v)
                return true;
        return false;
    }
    if (type == "File") {
        if (v.isEmpty())
            return !mandatory;
        for (int i = possibleValues.size - 1; i >= 0; --i) {
            const QELString& ext = *asString(possibleValues[i]);
            // v must end with "." followed by ext.
            if (v.len > ext.len && v.p[v.len - ext.len - 1] == '.' && strcasecmp(v.p + (v.len - ext.len), ext.p) == 0)
                return true;
        }
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------
// QELOptionVector
// ---------------------------------------------------------------------------

int QELOptionVector::compare2Object(const QELContainerItem* a, const QELContainerItem* b) const
{
    return strcasecmp(reinterpret_cast<const QELOption*>(a)->name.p, reinterpret_cast<const QELOption*>(b)->name.p);
}

int QELOptionVector::compare2Key(const QELContainerItem* item, const QELContainerKey* key) const
{
    return strcasecmp(reinterpret_cast<const QELOption*>(item)->name.p, reinterpret_cast<const QELString*>(key)->p);
}

// ---------------------------------------------------------------------------
// QELOptionList
// ---------------------------------------------------------------------------

QELOptionList::~QELOptionList()
{
    removeAll();
}

QELOption* QELOptionList::remove(const QELString& name)
{
    for (int i = 0; i < options.size; ++i)
        if (asOption(options[i])->name == name)
            return asOption(options.remove(i));
    return NULL;
}

QELOption* QELOptionList::remove(QELOption* option)
{
    for (int i = 0; i < options.size; ++i)
        if (asOption(options[i]) == option)
            return asOption(options.remove(i));
    return NULL;
}

void QELOptionList::removeAll()
{
    if (options.size == 0)
        return;
    for (int i = 0; i < options.size; ++i)
        delete asOption(options[i]);
    options.empty();
}

const QELString& QELOptionList::getValue(const QELString& name)
{
    QELContainerItem* item = options.findFirst(reinterpret_cast<const QELContainerKey*>(&name));
    return item == NULL ? emptyString : asOption(item)->getValue();
}
