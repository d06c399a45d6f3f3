package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

/** The texts of a table library, as Java gets them. */
class AccessorTest {
    private enum Accessor {
        KEYIDS(WbkitAndr::getKeyids, "sm,k128,k192,k256,"),
        WHITELIST(WbkitAndr::getWhitelist, "com.example.jvm.tests"),
        APPID(WbkitAndr::getAppid, "com.example.jvm");

        interface Native {
            byte[] run(byte[] hash, byte[] caller, byte[] wbid, int version);
        }

        final Native function;
        final String expected;

        Accessor(Native function, String expected) {
            this.function = function;
            this.expected = expected;
        }

        String run(byte[] hash, byte[] caller, byte[] wbid, int version) {
            return TestTables.text(function.run(hash, caller, wbid, version));
        }
    }

    @BeforeAll
    static void load() {
        TestTables.load();
    }

    @ParameterizedTest
    @EnumSource
    void returnsItsTextToAnAuthorisedCaller(Accessor accessor) {
        byte[] token = TestTables.token(TestTables.WBID);
        for (int version : TestTables.VERSIONS) {
            assertEquals(accessor.expected, accessor.run(token, TestTables.CALLER, TestTables.WBID, version));
        }
    }

    @ParameterizedTest
    @EnumSource
    void refuses(Accessor accessor) {
        byte[] token = TestTables.token(TestTables.WBID);
        byte[] caller = TestTables.CALLER;
        byte[] wbid = TestTables.WBID;
        int version = TestTables.ENCODED;
        assertNull(accessor.run(null, caller, wbid, version), "null hash");
        assertNull(accessor.run(token, null, wbid, version), "null caller");
        assertNull(accessor.run(token, caller, null, version), "null wbid");
        assertNull(accessor.run(new byte[32], caller, wbid, version), "wrong token");
        assertNull(accessor.run(token, TestTables.bytes("someone"), wbid, version), "caller outside the whitelist");
        assertNull(accessor.run(token, caller, TestTables.bytes("nobody"), version), "unknown wbid");
        assertNull(accessor.run(token, caller, wbid, 3), "unknown version");
    }

    @Test
    void whitelistOfATableLibraryWithoutOneIsNull() {
        assertNull(Accessor.WHITELIST.run(TestTables.token(TestTables.OPEN_WBID), TestTables.CALLER,
                TestTables.OPEN_WBID, 1));
    }

    @Test
    void skComesForItsAccessKeyAndForWhatExtendsIt() {
        byte[] longer = TestTables.concat(TestTables.AK, TestTables.bytes(" and on"));
        for (int version : TestTables.VERSIONS) {
            assertArrayEquals(TestTables.SK, WbkitAndr.getSk(TestTables.AK, TestTables.WBID, version));
            assertArrayEquals(TestTables.SK, WbkitAndr.getSk(longer, TestTables.WBID, version));
        }
    }

    @Test
    void skComesForNothingElse() {
        for (String ak : new String[] {"", "jvm access ke", "jvm access kex", "JVM access key", " jvm access key"}) {
            assertNull(WbkitAndr.getSk(TestTables.bytes(ak), TestTables.WBID, TestTables.ENCODED), "ak \"" + ak + "\"");
        }
        assertNull(WbkitAndr.getSk(null, TestTables.WBID, TestTables.ENCODED), "null ak");
        assertNull(WbkitAndr.getSk(TestTables.AK, null, TestTables.ENCODED), "null wbid");
        assertNull(WbkitAndr.getSk(TestTables.AK, TestTables.bytes("nobody"), TestTables.ENCODED), "unknown wbid");
        assertNull(WbkitAndr.getSk(TestTables.AK, TestTables.WBID, 3), "unknown version");
    }
}
