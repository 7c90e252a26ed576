// The exported function that gives a program's icon.
#include "registrykey.h"

#include <QByteArray>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <array>

// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

namespace
{
constexpr int side = 32; // pixels, of the icon in the program

using GetWinApplicationIcon = HICON (*)(const wchar_t *, int);

/// As somebody finds it who has loaded into the process.
GetWinApplicationIcon exportedFunction()
{
    return reinterpret_cast<GetWinApplicationIcon>(reinterpret_cast<void *>(
        GetProcAddress(GetModuleHandleW(nullptr), "getWinApplicationIcon")));
}

template <typename Structure>
QByteArray bytesOf(const Structure &structure)
{
    return {reinterpret_cast<const char *>(&structure), sizeof(structure)};
}

/// An icon in one colour (0xAARRGGBB), as it stands in a program.
QByteArray iconImage(quint32 colour)
{
    BITMAPINFOHEADER header{};
    header.biSize = sizeof(header);
    header.biWidth = side;
    header.biHeight = 2 * side; // the colours and the mask
    header.biPlanes = 1;
    header.biBitCount = 32;
    QByteArray image = bytesOf(header);
    for (int pixel = 0; pixel < side * side; ++pixel)
        image += bytesOf(colour);
    return image + QByteArray(side * side / 8, '\0');
}

/// The list that names the image.
QByteArray iconGroup(qsizetype imageBytes)
{
    const std::array<WORD, 3> head{0, 1, 1};
    const std::array<BYTE, 4> size{side, side, 0, 0};
    const std::array<WORD, 6> entry{1, 32, LOWORD(imageBytes), HIWORD(imageBytes), 1};
    return bytesOf(head) + bytesOf(size) + bytesOf(entry).left(10);
}

/// A copy of this program, with an icon.
bool makeProgram(const QString &path, quint32 colour)
{
    if (!QFile::copy(QCoreApplication::applicationFilePath(), path))
        return false;
    const HANDLE update = BeginUpdateResourceW(path.toStdWString().c_str(), TRUE);
    const auto add = [update](LPCWSTR type, QByteArray data) {
        return UpdateResourceW(update, type, MAKEINTRESOURCEW(1), LANG_NEUTRAL, data.data(),
                               static_cast<DWORD>(data.size()));
    };
    const QByteArray image = iconImage(colour);
    return add(RT_ICON, image) && add(RT_GROUP_ICON, iconGroup(image.size())) &&
           EndUpdateResourceW(update, FALSE);
}

int widthOf(HICON icon)
{
    ICONINFO info{};
    BITMAP bitmap{};
    GetIconInfo(icon, &info);
    GetObjectW(info.hbmMask, sizeof(bitmap), &bitmap);
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    return bitmap.bmWidth;
}

/// The colour (0xRRGGBB) in the middle of the icon, drawn on grey.
quint32 middleOf(HICON icon, int width)
{
    BITMAPINFO format{};
    format.bmiHeader = {sizeof(format.bmiHeader), width, -width, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void *pixels = nullptr;
    const HDC device = CreateCompatibleDC(nullptr);
    const HBITMAP picture = CreateDIBSection(device, &format, DIB_RGB_COLORS, &pixels, nullptr, 0);
    const HGDIOBJ old = SelectObject(device, picture);
    memset(pixels, 0x80, width * width * sizeof(quint32));
    DrawIconEx(device, 0, 0, icon, width, width, 0, nullptr, DI_NORMAL);
    GdiFlush();
    const quint32 colour = static_cast<quint32 *>(pixels)[width / 2 * width + width / 2];
    SelectObject(device, old);
    DeleteObject(picture);
    DeleteDC(device);
    return colour & 0xFFFFFF;
}
} // namespace

class TestApplicationIcon : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void iconOfAProgram_data();
    void iconOfAProgram();
    void unknownSize();

private:
    const QTemporaryDir folder;
    const RegistryKey classes;
    const ReplacedRoot classesRoot{HKEY_CLASSES_ROOT, classes};
};

void TestApplicationIcon::initTestCase()
{
    QVERIFY(exportedFunction());
    // Wine's registry does not tell, as the one of Windows does, that a program has its icon
    // inside.
    classes.write(".exe", "", "exefile");
    classes.write(R"(exefile\DefaultIcon)", "", "%1");
    QVERIFY(makeProgram(folder.filePath("red.exe"), 0xFFFF0000));
    QVERIFY(makeProgram(folder.filePath("green.exe"), 0xFF00FF00));
}

void TestApplicationIcon::iconOfAProgram_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("width");
    QTest::addColumn<quint32>("colour");
    QTest::newRow("red, large") << "red.exe" << SHIL_LARGE << 32 << 0xFF0000U;
    QTest::newRow("red, small") << "red.exe" << SHIL_SMALL << 16 << 0xFF0000U;
    QTest::newRow("green, extra large") << "green.exe" << SHIL_EXTRALARGE << 48 << 0x00FF00U;
    QTest::newRow("green, jumbo") << "green.exe" << SHIL_JUMBO << 256 << 0x00FF00U;
}

void TestApplicationIcon::iconOfAProgram()
{
    QFETCH(QString, program);
    QFETCH(int, size);
    const QString path = QDir::toNativeSeparators(folder.filePath(program));
    const HICON icon = exportedFunction()(path.toStdWString().c_str(), size);
    QVERIFY(icon);
    const int width = widthOf(icon);
    const quint32 colour = middleOf(icon, width);
    QVERIFY(DestroyIcon(icon));
    QTEST(width, "width");
    QTEST(colour, "colour");
}

void TestApplicationIcon::unknownSize()
{
    const QString path = QDir::toNativeSeparators(folder.filePath("red.exe"));
    QVERIFY(!exportedFunction()(path.toStdWString().c_str(), SHIL_LAST + 1));
}

QTEST_GUILESS_MAIN(TestApplicationIcon)
#include "tst_applicationicon.moc"
