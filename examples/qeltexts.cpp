// qeltexts: prints the sample texts in the current language, then again in
// each locale named on the command line.
//
//   qeltexts [-p DIRECTORY] [LOCALE...]
//
// The first language is QEL_I18N_LANG (English when unset); the translation
// files are read from DIRECTORY, by default the installation's
// conf/QELI18n/Localization/ (or the setup file's Directory/TextLiterals).
#include <cstdio>
#include <cstring>

#include "QELSampleTexts.h"

static void print(QELSampleTexts& texts)
{
    const QELString& locale = QELTextLiteralsCollection::applicationLocale;
    printf("[%s] %s\n", locale.isEmpty() ? "default" : locale.chars(), texts.title.text.chars());

    void* values = texts.greeting.prapareForParameters();
    texts.greeting.setParameterValue(values, 0, "Marie");
    printf("  %s\n", texts.greeting.createParametrizedText(values).chars());

    values = texts.filesCopied.prapareForParameters();
    texts.filesCopied.setParameterValue(values, 0, QELString(3));
    texts.filesCopied.setParameterValue(values, 1, "/tmp/backup");
    printf("  %s\n", texts.filesCopied.createParametrizedText(values).chars());

    values = texts.diskFull.prapareForParameters();
    texts.diskFull.setParameterValue(values, 0, "/dev/sda1");
    printf("  %s (level %d, %s)\n", texts.diskFull.createParametrizedText(values).chars(),
           texts.diskFull.level, texts.diskFull.levelName.chars());

    printf("  %s\n", texts.help.text.chars());
}

int main(int argc, char** argv)
{
    int first = 1;
    if (argc > 2 && strcmp(argv[1], "-p") == 0) {
        QELString path(argv[2]);
        if (path.length() > 0 && path.chars()[path.length() - 1] != '/')
            path.append('/');
        // Set before the collection is made, so that it keeps this directory.
        QELTextLiteralsCollection::translationsPath = path;
        first = 3;
    } else if (argc > 1 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0)) {
        printf("usage: %s [-p DIRECTORY] [LOCALE...]\n", argv[0]);
        return 0;
    }

    static QELSampleTexts texts; // lives until exit, as registered collections must
    printf("translations: %s\n", QELTextLiteralsCollection::translationsPath.chars());
    print(texts);
    for (int i = first; i < argc; ++i) {
        QELTextLiteralsCollection::setApplicationLocale(argv[i]); // re-translates every collection
        print(texts);
    }
    return 0;
}
