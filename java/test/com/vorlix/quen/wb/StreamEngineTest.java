package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/** Texts in pieces against the clear key over the whole text. */
class StreamEngineTest {
    private static final int SHORT = 300;
    private static final int LONG = 2 * StreamEngine.PIECE + SHORT + 5;
    private static final byte[] PLAIN = TestTables.random(LONG, 1);
    /** The counter of CTR overflows behind its first block. */
    private static final byte[] IV = new byte[16];

    static {
        Arrays.fill(IV, (byte) 0xff);
    }

    static List<Arguments> cases() {
        List<Arguments> cases = new ArrayList<>();
        for (Key key : Key.values()) {
            for (StreamMode mode : StreamMode.values()) {
                byte[] expected = ClearKey.encrypt((key == Key.SM4 ? "SM4_" : "AES_") + mode, key, IV, PLAIN);
                cases.add(Arguments.of(key, mode, true, PLAIN, expected));
                cases.add(Arguments.of(key, mode, false, expected, PLAIN));
            }
        }
        return cases;
    }

    @ParameterizedTest(name = "{0} {1}, encrypting: {2}")
    @MethodSource("cases")
    void agreesWithTheClearKeyInEveryChunking(Key key, StreamMode mode, boolean encrypting, byte[] in, byte[] expected)
            throws Exception {
        WhiteboxKey whitebox = TestTables.open(TestTables.ENCODED).key(key.text);
        for (int chunk = 1; chunk <= 33; chunk++) {
            check(new StreamEngine(whitebox, mode, encrypting, IV), in, SHORT, chunk, expected);
        }
        for (int chunk : new int[] {LONG, StreamEngine.PIECE + 7, 65537}) {
            check(new StreamEngine(whitebox, mode, encrypting, IV), in, LONG, chunk, expected);
        }
        for (int shift : new int[] {-16, -3, 0, 5, 64}) { // in one array, the output before, at and behind the input
            byte[] array = new byte[64 + LONG + 64];
            System.arraycopy(in, 0, array, 64, LONG);
            StreamEngine engine = new StreamEngine(whitebox, mode, encrypting, IV);
            engine.process(array, 64, 7, array, 64);
            engine.process(array, 71, LONG - 7, array, 71 + shift);
            assertArrayEquals(Arrays.copyOfRange(expected, 7, LONG),
                    Arrays.copyOfRange(array, 71 + shift, 64 + LONG + shift), "shifted by " + shift);
        }
    }

    @Test
    void endsWhenItIsWiped() throws Exception {
        WhiteboxKey key = TestTables.open(TestTables.ENCODED).key("k128");
        StreamEngine engine = new StreamEngine(key, StreamMode.CTR, true, IV);
        engine.process(new byte[1], 0, 1, new byte[1], 0);
        StreamEngine copy = engine.copy();
        engine.wipe();
        assertThrows(IllegalStateException.class, () -> engine.process(PLAIN, 0, 15, new byte[15], 0));
        copy.process(PLAIN, 0, 15, new byte[15], 0);
    }

    private static void check(StreamEngine engine, byte[] in, int length, int chunk, byte[] expected) throws Exception {
        byte[] out = new byte[length];
        for (int done = 0; done < length; done += chunk) {
            engine.process(in, done, Math.min(chunk, length - done), out, done);
        }
        assertArrayEquals(Arrays.copyOf(expected, length), out, "pieces of " + chunk);
    }
}
