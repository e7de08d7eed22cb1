#include "kit/clURL.h"

#include <gtest/gtest.h>

TEST(clURL_, ShowsNothingSecret)
{
    const struct {
        const char *cpText;
        const char *cpShown;
        const char *cpHidden;
        const char *cpUser;
        const char *cpPassword;
    } aRows[] = {
        {"http://h/a.dff", "http://h/a.dff", "http://h/a.dff", "", ""},
        {"http://u:p@h/a", "http://h/a", "http://***@h/a", "u", "p"},
        {"HTTPS://me%40x:a%3Ab:c@h:8/a@2x.dff?b@c", "HTTPS://h:8/a@2x.dff?b@c",
         "HTTPS://**************@h:8/a@2x.dff?b@c", "me@x", "a:b:c"},
        {"http://u:p@ss@h", "http://h", "http://******@h", "u", "p@ss"},
        {"http://u@h?x=@", "http://h?x=@", "http://*@h?x=@", "u", ""},
        {"http://@h/", "http://h/", "http://@h/", "", ""},
        {"http://h/a?id=7&Token=abc&x_sig=&n=1#token=z",
         "http://h/a?id=7&Token=...&x_sig=...&n=1#token=...",
         "http://h/a?id=7&Token=***&x_sig=&n=1#token=*", "", ""},
        {"http://", "http://", "http://", "", ""},
        {"u:p@h", nullptr, "u:p@h", "", ""},
    };
    for (const auto &row : aRows) {
        std::string strHidden = row.cpText;
        clURL::Hide(strHidden.data());
        EXPECT_EQ(row.cpHidden, strHidden);
        EXPECT_EQ(row.cpShown != nullptr, clURL::IsURL(row.cpText));
        if (row.cpShown != nullptr) {
            const clURL url(row.cpText);
            EXPECT_EQ(row.cpShown, url.strShown);
            EXPECT_EQ(row.cpUser, url.strUser);
            EXPECT_EQ(row.cpPassword, url.strPassword);
        }
    }
}

TEST(clURL_, SuggestsTheNameOfAFile)
{
    const char *const aRows[][2] = {
        {"http://h/x/a.dff", "a.dff"},
        {"http://h/a%20b.dff?c=/d.dff#e/f", "a b.dff"},
        {"http://h/%2e%2E%2fa%0a%00.dff%", ".._a__.dff%"},
        {"http://h", "download"},
        {"http://h/x/", "download"},
        {"http://h?a/b", "download"},
        {"http://u:p/w@h/a.dff", "a.dff"},
    };
    for (const auto &row : aRows) {
        EXPECT_EQ(row[1], clURL(row[0]).GetFileName()) << row[0];
    }
}
