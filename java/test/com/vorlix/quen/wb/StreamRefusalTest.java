package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.util.Arrays;
import java.util.Collections;
import java.util.function.Consumer;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

/** What the stream natives refuse: with null, and without an exception. */
class StreamRefusalTest {
    private static final byte[] VERY_LONG = TestTables.bytes(String.join("", Collections.nCopies(10000, "k")));

    @BeforeAll
    static void load() {
        TestTables.load();
    }

    /** The arguments of one call; it starts as a call that is granted. */
    private static final class Call {
        byte[] hash = TestTables.token(TestTables.WBID);
        byte[] caller = TestTables.CALLER;
        byte[] iv = new byte[16];
        byte[] input = new byte[32];
        int padding = StreamMode.NO_PADDING;
        byte[] wbid = TestTables.WBID;
        byte[] keyid = TestTables.Key.AES_128.id;
        int version = TestTables.ENCODED;

        void use(byte[] wbid) {
            this.wbid = wbid;
            this.hash = TestTables.token(wbid);
        }

        byte[] run(StreamMode.Native function) {
            return function.run(hash, caller, iv, input, padding, wbid, keyid, version);
        }
    }

    /** One deviation from a call that is granted. */
    private enum Refused {
        NULL_HASH(call -> call.hash = null),
        NULL_CALLER(call -> call.caller = null),
        NULL_IV(call -> call.iv = null),
        NULL_INPUT(call -> call.input = null),
        NULL_WBID(call -> call.wbid = null),
        NULL_KEYID(call -> call.keyid = null),
        PADDING_3(call -> call.padding = 3),
        PADDING_NEGATIVE(call -> call.padding = -1),
        PADDING_LEAST(call -> call.padding = Integer.MIN_VALUE),
        TOKEN_WITH_A_BIT_FLIPPED(call -> call.hash[31] ^= 1),
        TOKEN_TOO_SHORT(call -> call.hash = Arrays.copyOf(call.hash, 31)),
        TOKEN_EMPTY(call -> call.hash = new byte[0]),
        TOKEN_OF_ANOTHER_WBID(call -> call.hash = TestTables.token(TestTables.OPEN_WBID)),
        CALLER_OUTSIDE_THE_WHITELIST(call -> call.caller = TestTables.bytes("com.example.other")),
        CALLER_LONGER_THAN_LISTED(call -> call.caller = TestTables.bytes("com.example.jvm.tests2")),
        UNKNOWN_WBID(call -> call.use(TestTables.bytes("nobody"))),
        EMPTY_WBID(call -> call.use(new byte[0])),
        WBID_WITH_A_PATH(call -> call.use(TestTables.bytes("../jvm"))),
        VERY_LONG_WBID(call -> call.use(VERY_LONG)),
        UNKNOWN_VERSION(call -> call.version = 3),
        NEGATIVE_VERSION(call -> call.version = -1),
        UNKNOWN_KEYID(call -> call.keyid = TestTables.bytes("k129")),
        PREFIX_OF_A_KEYID(call -> call.keyid = TestTables.bytes("k12")),
        EMPTY_KEYID(call -> call.keyid = new byte[0]),
        VERY_LONG_KEYID(call -> call.keyid = VERY_LONG),
        SM4_KEYID(call -> call.keyid = TestTables.bytes("sm"));

        final Consumer<Call> change;

        Refused(Consumer<Call> change) {
            this.change = change;
        }

        byte[] run(StreamMode.Native function) {
            Call call = new Call();
            change.accept(call);
            return call.run(function);
        }
    }

    @ParameterizedTest
    @EnumSource
    void answersNull(StreamMode mode) {
        for (StreamMode.Native function : new StreamMode.Native[] {mode.encrypt, mode.decrypt}) {
            assertNotNull(new Call().run(function), "the call that the others deviate from");
            for (Refused refused : Refused.values()) {
                assertNull(refused.run(function), mode + ", " + refused);
            }
        }
    }

    @ParameterizedTest
    @EnumSource
    void admitsEveryPartOfAListedName(StreamMode mode) {
        Call call = new Call();
        for (String part : new String[] {"com.example", "jvm.tests", ""}) {
            call.caller = TestTables.bytes(part);
            assertNotNull(call.run(mode.encrypt), "caller \"" + part + "\"");
        }
    }

    @ParameterizedTest
    @EnumSource
    void admitsEveryCallerWithATokenWhereThereIsNoWhitelist(StreamMode mode) {
        Call call = new Call();
        call.use(TestTables.OPEN_WBID);
        call.caller = TestTables.bytes("com.example.other");
        assertNotNull(call.run(mode.encrypt));
        call.hash[0] ^= 1;
        assertNull(call.run(mode.encrypt), "the token is asked for all the same");
    }
}
