// A key of the registry that belongs to one test.
#pragma once

#include <QByteArray>
#include <QString>

#include <windows.h>

/// Below HKEY_CURRENT_USER. It and what stands in it is gone with the object.
class RegistryKey
{
public:
    RegistryKey() : handle(create(HKEY_CURRENT_USER, name)) {}
    ~RegistryKey()
    {
        RegCloseKey(handle);
        RegDeleteTreeW(HKEY_CURRENT_USER, text(name));
    }
    RegistryKey(const RegistryKey &) = delete;
    RegistryKey &operator=(const RegistryKey &) = delete;

    [[nodiscard]] HKEY get() const { return handle; }
    [[nodiscard]] QString path() const { return R"(\HKEY_CURRENT_USER\)" + name; }

    /// An empty value name is the key's default value; the key is made when it is not there.
    void write(const QString &key, const QString &value, const QString &content) const
    {
        // With the zero at its end.
        write(key, value, REG_SZ,
              {reinterpret_cast<const char *>(content.utf16()),
               (content.size() + 1) * qsizetype(sizeof(wchar_t))});
    }
    void write(const QString &key, const QString &value, DWORD type,
               const QByteArray &content) const
    {
        const HKEY inner = create(handle, key);
        check(RegSetValueExW(inner, text(value), 0, type,
                             reinterpret_cast<const BYTE *>(content.data()),
                             static_cast<DWORD>(content.size())));
        RegCloseKey(inner);
    }
    [[nodiscard]] bool contains(const QString &key) const
    {
        HKEY inner = nullptr;
        if (RegOpenKeyExW(handle, text(key), 0, KEY_READ, &inner) != ERROR_SUCCESS)
            return false;
        RegCloseKey(inner);
        return true;
    }

private:
    static const wchar_t *text(const QString &string)
    {
        return reinterpret_cast<const wchar_t *>(string.utf16());
    }
    static void check(LSTATUS status)
    {
        if (status != ERROR_SUCCESS)
            qFatal("The registry answers %ld", status);
    }
    static HKEY create(HKEY parent, const QString &key)
    {
        HKEY made = nullptr;
        // A volatile one would keep others from making keys in it, which a test may look for.
        check(RegCreateKeyExW(parent, text(key), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &made, nullptr));
        return made;
    }

    const QString name = QStringLiteral("Software\\Quorvane test %1").arg(GetCurrentProcessId());
    const HKEY handle;
};

/// A root of the registry that this process finds in another key while the object lives.
class ReplacedRoot
{
public:
    ReplacedRoot(HKEY root, const RegistryKey &key) : root(root)
    {
        if (RegOverridePredefKey(root, key.get()) != ERROR_SUCCESS)
            qFatal("The registry's root stays where it is");
    }
    ~ReplacedRoot() { RegOverridePredefKey(root, nullptr); }
    ReplacedRoot(const ReplacedRoot &) = delete;
    ReplacedRoot &operator=(const ReplacedRoot &) = delete;

private:
    const HKEY root;
};
