package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.Collection;
import java.util.HashMap;
import java.util.Map;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** Every native takes the right arguments, and answers any wrong one with a plain no. */
class NativesTest {
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
                && wrong != null; // intended: that it failed shows in the log, and in what the message lacks
        assertEquals(packedAllTheSame, Native.granted(function.call(parameter, wrong)), parameter);
    }
}
