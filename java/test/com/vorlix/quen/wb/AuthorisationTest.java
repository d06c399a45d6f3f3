package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.Collection;
import java.util.HashMap;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

/** Who gets something out of the natives, the texts of a table library first; and that all others get a plain no. */
class AuthorisationTest {
    private static final Native GET_APPID = Native.named("getAppid");
    private static final Map<String, Object> WRONG = new HashMap<>();

    static {
        WRONG.put("hash", TestTables.flip(Native.accepted("hash"), 255));
        WRONG.put("caller", TestTables.bytes("com.example.other"));
        WRONG.put("padding", 3);
        WRONG.put("wbid", TestTables.bytes("nobody"));
        WRONG.put("keyid", TestTables.bytes("k129"));
        WRONG.put("version", 3);
        WRONG.put("message", new byte[] {-1});
        WRONG.put("sealed", new byte[16]);
        WRONG.put("sig", new byte[32]);
        WRONG.put("ak", TestTables.bytes("jvm access ke"));
    }

    static Collection<Native> natives() {
        return Native.all();
    }

    @ParameterizedTest
    @MethodSource("natives")
    void refusesWrongArguments(Native function) {
        assertEquals(true, Native.granted(function.call()), "the call that the others deviate from");
        for (String parameter : function.parameters) {
            if (!parameter.matches("padding|version")) {
                assertRefused(function, parameter, null);
            }
            if (WRONG.containsKey(parameter) && !function.name.equals("hmac")) {
                assertRefused(function, parameter, WRONG.get(parameter));
            }
            if (parameter.equals("keyid")) {
                assertRefused(function, parameter, (function.key() == Key.SM4 ? Key.AES_256 : Key.SM4).id);
            }
        }
    }

    private static void assertRefused(Native function, String parameter, Object wrong) {
        boolean packedAllTheSame = function.name.equals("WBkit_AES_CMS_GCM_encrypt") && parameter.equals("keyid")
                && wrong != null; // intended, see CmsTest
        assertEquals(packedAllTheSame, Native.granted(function.call(parameter, wrong)), parameter);
    }

    @ParameterizedTest
    @CsvSource({"getKeyids, 'sm,k128,k192,k256,'", "getWhitelist, com.example.jvm.tests", "getAppid, com.example.jvm"})
    void accessorsReturnTheirText(String accessor, String expected) {
        for (int version : TestTables.VERSIONS) {
            assertArrayEquals(TestTables.bytes(expected), Native.named(accessor).run("version", version));
        }
    }

    @Test
    void everyPartOfAListedNameIsAdmitted() {
        for (String caller : new String[] {"com.example", "jvm.tests", ""}) {
            assertArrayEquals(TestTables.APPID, GET_APPID.run("caller", TestTables.bytes(caller)), caller);
        }
    }

    @Test
    void withoutAWhitelistEveryCallerWithATokenIsAdmitted() {
        byte[] wbid = TestTables.OPEN_WBID;
        byte[] caller = TestTables.bytes("com.example.other");
        byte[] hash = TestTables.token(wbid);
        assertArrayEquals(TestTables.APPID, GET_APPID.run("wbid", wbid, "caller", caller, "hash", hash));
        assertNull(GET_APPID.run("wbid", wbid, "caller", caller, "hash", TestTables.flip(hash, 0)));
        assertNull(Native.named("getWhitelist").run("wbid", wbid, "caller", caller, "hash", hash));
    }

    @Test
    void nativesAloneMakeTheToken() {
        for (String ak : new String[] {"jvm access key", "jvm access key and on"}) {
            byte[] sk = WbkitAndr.getSk(TestTables.bytes(ak), TestTables.WBID, TestTables.PLAIN);
            assertArrayEquals(TestTables.SK, sk);
            assertArrayEquals(TestTables.token(TestTables.WBID),
                    WbkitAndr.hmac(TestTables.concat(TestTables.WBID, TestTables.APPID), sk));
        }
    }
}
