#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"
#include "tests/support/stderr-capture.h"

#include <QtTest>

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <dlfcn.h>

#include <functional>
#include <new>
#include <string>
#include <vector>

namespace {

int grants = -1; // allocations until one is refused; below zero: none is

struct Refusal {
    explicit Refusal(int after) { grants = after; }
    ~Refusal() { grants = -1; }
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
};

bool isGranted() {
    const bool granted = grants != 0;
    grants -= grants > 0 ? 1 : 0;
    return granted;
}

// What the library asked ICU for, and what ICU is made to answer.
struct Call {
    std::string function;
    bool measures; // no destination: asks for the length only
    int32_t length;
    UNormalization2Mode mode;

    bool operator==(const Call& other) const {
        return function == other.function && measures == other.measures && length == other.length &&
               mode == other.mode;
    }
};
std::vector<Call> calls;
UErrorCode instance_status = U_ZERO_ERROR;
UErrorCode measuring_status = U_ZERO_ERROR;
UErrorCode working_status = U_ZERO_ERROR;
bool no_instance = false;

template <class Function>
Function* genuine(const char* name, Function* /*type*/) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void noteCall(const char* function, const void* destination, int32_t capacity, int32_t length,
              UErrorCode* status) {
    const bool measures = destination == nullptr && capacity == 0;
    calls.push_back({function, measures, length, UNORM2_COMPOSE});
    const UErrorCode wanted = measures ? measuring_status : working_status;
    if (wanted != U_ZERO_ERROR) {
        *status = wanted;
    }
}

} // namespace

// In the place of the allocations that the library's sources call (--wrap); an optimiser makes a
// malloc of the realloc of nothing.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __real_realloc(void* block, size_t size);
extern "C" void* __wrap_malloc(size_t size);
extern "C" void* __wrap_realloc(void* block, size_t size);

extern "C" void* __wrap_malloc(size_t size) {
    return isGranted() ? __real_malloc(size) : nullptr;
}

extern "C" void* __wrap_realloc(void* block, size_t size) {
    return isGranted() ? __real_realloc(block, size) : nullptr;
}

// In the place of ICU's: the program's own definition comes before a shared library's.
#define GENUINE(name) genuine(U_STRINGIFY_NAME(name), &(name))
#define U_STRINGIFY_NAME(name) #name

extern "C" UChar* u_strFromUTF8(UChar* to, int32_t capacity, int32_t* length, const char* from,
                                int32_t count, UErrorCode* status) {
    UChar* const result = GENUINE(u_strFromUTF8)(to, capacity, length, from, count, status);
    noteCall("u_strFromUTF8", to, capacity, count, status);
    return result;
}

extern "C" char* u_strToUTF8(char* to, int32_t capacity, int32_t* length, const UChar* from,
                             int32_t count, UErrorCode* status) {
    char* const result = GENUINE(u_strToUTF8)(to, capacity, length, from, count, status);
    noteCall("u_strToUTF8", to, capacity, count, status);
    return result;
}

extern "C" const UNormalizer2* unorm2_getInstance(const char* package, const char* name,
                                                  UNormalization2Mode mode, UErrorCode* status) {
    calls.push_back(
        {std::string("unorm2_getInstance ") + (package ? package : "") + name, false, 0, mode});
    const UNormalizer2* const instance = GENUINE(unorm2_getInstance)(package, name, mode, status);
    if (instance_status != U_ZERO_ERROR) {
        *status = instance_status;
    }
    return no_instance ? nullptr : instance;
}

extern "C" int32_t unorm2_normalize(const UNormalizer2* normalizer, const UChar* from,
                                    int32_t count, UChar* to, int32_t capacity,
                                    UErrorCode* status) {
    const int32_t length = GENUINE(unorm2_normalize)(normalizer, from, count, to, capacity, status);
    noteCall("unorm2_normalize", to, capacity, count, status);
    return length;
}

Q_DECLARE_METATYPE(std::function<void(ustring&)>)

/// What is left of a string when memory runs out or ICU fails.
class UstringFailureTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        calls.clear();
        instance_status = measuring_status = working_status = U_ZERO_ERROR;
        no_instance = false;
    }

    void refusedMemoryLeavesTheFormerText_data() {
        using Edit = std::function<void(ustring&)>;
        QTest::addColumn<Edit>("edit");
        static const std::string long_text(500, 'x');
        static const std::u16string long_wide(500, u'x');
        const auto row = [](const char* name, const Edit& edit) { QTest::newRow(name) << edit; };
        row("append", [](ustring& s) { s.append(long_text.c_str()); });
        row("append part", [](ustring& s) { s.append(long_text.c_str(), 400); });
        row("append std::string", [](ustring& s) { s.append(long_text); });
        row("append itself", [](ustring& s) { s.append(s); });
        row("append own text", [](ustring& s) { s.append(s.c_str() + 1); });
        row("append bytes", [](ustring& s) { s.append('x', 500); });
        row("append UTF-16", [](ustring& s) { s.append(long_wide.c_str()); });
        row("append own UTF-16", [](ustring& s) { s.append(s.c_str_utf16() + 1); });
        row("append units", [](ustring& s) { s.append(u'x', 500); });
        row("build UTF-16", [](ustring& s) { s.c_str_utf16(); });
        row("normalize", [](ustring& s) { s.normalize(ustring::NFD); });
        row("copy", [](ustring& s) { ustring(s).clear(); });
        row("move", [](ustring& s) { ustring target(std::move(s)); });
        row("substr", [](ustring& s) { s.substr(1, 3); });
    }
    void refusedMemoryLeavesTheFormerText() {
        QFETCH(std::function<void(ustring&)>, edit);
        bool refused = true;
        for (int after = 0; refused; ++after) {
            ustring text("0123456789\xc3\xa9");
            const size_t capacity = text.data_cap;
            refused = false;
            try {
                const Refusal refusal(after);
                edit(text);
            } catch (const std::bad_alloc&) {
                refused = true;
            }
            if (refused) {
                QCOMPARE(bytes(text), literal("0123456789\xc3\xa9"));
                QCOMPARE(text.data_cap, capacity);
                QCOMPARE(units(text), QString("0123456789é"));
            } else {
                QVERIFY(after > 0);
            }
        }
    }

    void refusedMemoryLeavesAnAssignedStringEmpty() {
        ustring text("0123456789");
        text.c_str_utf16();
        {
            const Refusal refusal(0);
            QVERIFY_EXCEPTION_THROWN(text.assign("more than ten bytes"), std::bad_alloc);
        }
        QVERIFY(text.empty());
        QCOMPARE(text.data_cap, size_t(11));
        QCOMPARE(units(text), QString());
    }

    void refusedShrinkingLeavesTheBufferAndTheCapacity() {
        ustring text(std::string(99, 'x'));
        text.assign(text.c_str(), 3);
        // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): read below
        const char* const buffer = text.c_str();
        {
            const Refusal refusal(0);
            QVERIFY_EXCEPTION_THROWN(text.append("yz"), std::bad_alloc);
            QVERIFY_EXCEPTION_THROWN(text.append('y', 2), std::bad_alloc);
            QVERIFY_EXCEPTION_THROWN(text.append(u"yz"), std::bad_alloc);
        }
        QCOMPARE(bytes(text), literal("xxx"));
        QVERIFY(text.c_str() == buffer);
        QCOMPARE(text.data_cap, size_t(100));
    }

    void refusedMemoryInAConstructorLeaksNothing() {
        const std::string long_text(500, 'x');
        const auto refusedAfter = [](int after, const auto& construct) {
            const Refusal refusal(after);
            QVERIFY_EXCEPTION_THROWN(construct(), std::bad_alloc);
        };
        for (int after : {0, 1}) {
            refusedAfter(after, [] { ustring(); });
            refusedAfter(after, [&] { ustring(long_text.c_str()); });
            refusedAfter(after, [] { ustring(u"0123456789"); });
        }
        refusedAfter(2, [] { ustring(u"0123456789"); });
        refusedAfter(3, [] { ustring(u"0123456789"); });
    }

    void utf16IsMeasuredFirstAndReadUpToItsNul() {
        ustring text("0123456789");
        text.c_str_utf16();
        const Call measure = {"u_strFromUTF8", true, -1, UNORM2_COMPOSE};
        const Call convert = {"u_strFromUTF8", false, -1, UNORM2_COMPOSE};
        QVERIFY(calls == (std::vector<Call>{measure, convert}));
    }

    void utf8IsMeasuredFirstAndReadUpToItsNul() {
        const ustring text(u"0123456789");
        const Call measure = {"u_strToUTF8", true, -1, UNORM2_COMPOSE};
        const Call convert = {"u_strToUTF8", false, -1, UNORM2_COMPOSE};
        QVERIFY(calls == (std::vector<Call>{measure, convert}));
    }

    void sameDataServesBothForms() {
        const ustring text(u"\u00e9");
        calls.clear();
        text.normalize(ustring::NFC);
        text.normalize(ustring::NFD);
        const Call measure = {"unorm2_normalize", true, -1, UNORM2_COMPOSE};
        const Call convert = {"unorm2_normalize", false, -1, UNORM2_COMPOSE};
        const Call measure8 = {"u_strToUTF8", true, -1, UNORM2_COMPOSE};
        const Call convert8 = {"u_strToUTF8", false, -1, UNORM2_COMPOSE};
        const Call composer = {"unorm2_getInstance nfc", false, 0, UNORM2_COMPOSE};
        const Call decomposer = {"unorm2_getInstance nfc", false, 0, UNORM2_DECOMPOSE};
        QVERIFY(calls == (std::vector<Call>{composer, measure, convert, measure8, convert8,
                                            decomposer, measure, convert, measure8, convert8}));
    }

    void emptyTextAsksForNoNormalizer() {
        QVERIFY(ustring().normalize(ustring::NFC).empty());
        QVERIFY(calls.empty());
    }

    void validityOnlyMeasures() {
        QVERIFY(ustring::is_valid(ustring("abc")));
        const Call measure = {"u_strFromUTF8", true, -1, UNORM2_COMPOSE};
        QVERIFY(calls == (std::vector<Call>{measure}));
        calls.clear();
        QVERIFY(ustring::is_valid(ustring()));
        QVERIFY(calls.empty());
    }

    void onlyAnInvalidCharacterMakesATextInvalid() {
        for (UErrorCode status : {U_BUFFER_OVERFLOW_ERROR, U_ILLEGAL_ARGUMENT_ERROR,
                                  U_MEMORY_ALLOCATION_ERROR, U_TRUNCATED_CHAR_FOUND}) {
            measuring_status = status;
            QVERIFY(ustring::is_valid(ustring("abc")));
        }
        measuring_status = U_INVALID_CHAR_FOUND;
        QVERIFY(!ustring::is_valid(ustring("abc")));
    }

    void failedConversionToUtf16KeepsTheUtf8Side() {
        const StderrCapture warnings;
        working_status = U_MEMORY_ALLOCATION_ERROR;
        const ustring text("abc");
        QCOMPARE(units(text), QString());
        QCOMPARE(bytes(text), literal("abc"));
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: u_strFromUTF8: error code 7 at line #\n"));
    }

    void failedConversionToUtf8EmptiesTheString() {
        const StderrCapture warnings;
        ustring text("abc");
        text.c_str_utf16();
        working_status = U_MEMORY_ALLOCATION_ERROR;
        text += u"d";
        working_status = U_ZERO_ERROR;
        QCOMPARE(bytes(text), QByteArray());
        QCOMPARE(units(text), QString());
        QCOMPARE(warnings.unnumbered(), literal("Warning: u_strToUTF8: error code 7 at line #\n"));
    }

    void warningStatusIsNoFailure() {
        const StderrCapture warnings;
        working_status = U_STRING_NOT_TERMINATED_WARNING;
        ustring text("e\xcc\x81");
        text += u"x";
        QCOMPARE(bytes(text.normalize(ustring::NFC)), literal("\xc3\xa9x"));
        QCOMPARE(warnings.text(), QByteArray());
    }

    void failedNormalizerGivesAnEmptyString() {
        const StderrCapture warnings;
        instance_status = U_MISSING_RESOURCE_ERROR;
        QVERIFY(ustring("abc").normalize(ustring::NFC).empty());
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: unorm2_getInstance: error code 2 at line #\n"));
    }

    void missingNormalizerGivesAnEmptyString() {
        const StderrCapture warnings;
        no_instance = true;
        QVERIFY(ustring("abc").normalize(ustring::NFD).empty());
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: unorm2_getInstance: error code 0 at line #\n"));
    }

    void failedNormalizationGivesAnEmptyString() {
        const StderrCapture warnings;
        ustring text("abc");
        text.c_str_utf16();
        working_status = U_MEMORY_ALLOCATION_ERROR;
        const ustring result = text.normalize(ustring::NFC);
        working_status = U_ZERO_ERROR;
        QCOMPARE(bytes(result), QByteArray());
        QCOMPARE(result.wdata[0], u'\0');
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: unorm2_normalize: error code 7 at line #\n"));
    }
};

QTEST_APPLESS_MAIN(UstringFailureTest)
#include "ustring_failure_test.moc"
