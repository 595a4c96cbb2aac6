// A text field for end-to-end runs: it writes everything it holds to the file named on its
// command line each time the text changes, so a test can read what it received. With --rich it
// accepts formatted pastes and writes its HTML; with --read-only it takes no keys and never
// asks for a paste.
#include <QApplication>
#include <QFile>
#include <QSaveFile>
#include <QTextEdit>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc < 2)
        return 2;
    const QString path = QString::fromLocal8Bit(argv[1]);
    const QByteArray option = argc > 2 ? QByteArray(argv[2]) : QByteArray();
    const bool rich = option == "--rich";
    QTextEdit field;
    field.setAcceptRichText(rich);
    field.setReadOnly(option == "--read-only");
    field.setWindowTitle(
        QStringLiteral("scrivlane-e2e-") +
        (option.isEmpty() ? QStringLiteral("target") : QString::fromLatin1(option.mid(2))));
    field.resize(500, 300);
    QObject::connect(&field, &QTextEdit::textChanged, [&] {
        QSaveFile out(path);
        if (out.open(QIODevice::WriteOnly)) {
            out.write((rich ? field.toHtml() : field.toPlainText()).toUtf8());
            out.commit();
        }
    });
    field.show();
    return QApplication::exec();
}
