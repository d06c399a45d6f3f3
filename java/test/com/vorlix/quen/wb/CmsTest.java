package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.vorlix.quen.wb.TestTables.Key;
import java.security.GeneralSecurityException;
import java.util.Arrays;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** What messages in stream modes carry; and that keys read whatever comes as the natives do. */
class CmsTest {
    /** Fields behind a whole message, where the last of a number counts: known ones, odd ones, and of other types. */
    private static final String[] MORE_FIELDS = {"2007", "2008", "2009", "200a", "2000", "2088808080808080808001",
        "2200", "2500000000", "3203aabbcc", "3200", "3214000102030405060708090a0b0c0d0e0f10111213", "30aa", "4a00",
        "4a01aa", "48aa", "4210000102030405060708090a0b0c0d0e0f", "4211000102030405060708090a0b0c0d0e0f10", "1000",
        "1200", "0801", "a20601aa", "a006ff01", "a50600000000", "a1060000000000000000", "a306a406", "a606", "a5060000",
        "4a02aa", "20", "0001", "80000a", "8880808080800101",
        "888080808001", "a286808080800001aa", "a20681808080808000aa", "a206818080808000aa", "4a828080808000aabb",
        "4a8280808000aabb"};

    @ParameterizedTest
    @CsvSource({"aesCfbDecrypt, CFB", "aesOfbDecrypt, OFB", "aesCtrDecrypt, CTR", "sm4CfbDecrypt, CFB",
        "sm4OfbDecrypt, OFB", "sm4CtrDecrypt, CTR"})
    void readersAgree(String decryption, StreamMode mode) throws Exception {
        Native decrypt = Native.named(decryption);
        Key clear = decrypt.key();
        WhiteboxKey key = TestTables.key(clear);
        for (Padding padding : Padding.values()) {
            byte[] plain = TestTables.random(100, padding.number());
            byte[] message = key.encryptMessage(mode, padding, plain, TestTables.bytes("for its reader"));
            CmsMessage fields = CmsMessage.of(message);
            byte[] padded = ClearKey.decrypt(key.getAlgorithm() + "_" + mode, clear, fields.iv, fields.content);
            assertArrayEquals(plain, Arrays.copyOf(padded, padded.length - padding.countAtEndOf(padded)));
            assertEquals(padding, fields.padding);
            assertArrayEquals(plain, decrypt.run("message", message));
            assertArrayEquals(plain, key.decryptMessage(mode, message));
            for (int i = 0; i < message.length; i++) {
                assertAlike(decrypt, key, mode, Arrays.copyOf(message, i));
                assertAlike(decrypt, key, mode, TestTables.flip(message, 8 * i + i % 8));
            }
            for (String more : MORE_FIELDS) {
                assertAlike(decrypt, key, mode, TestTables.concat(message, TestTables.unhex(more)));
            }
        }
        for (int length = 0; length < 200; length++) {
            assertAlike(decrypt, key, mode, TestTables.random(length, length));
        }
    }

    /** But that a native does not look at all of a padding, and returns no text that is empty. */
    private static void assertAlike(Native decrypt, WhiteboxKey key, StreamMode mode, byte[] message)
            throws GeneralSecurityException {
        byte[] theirs = decrypt.run("message", message);
        try {
            byte[] ours = key.decryptMessage(mode, message);
            assertArrayEquals(ours.length == 0 ? null : ours, theirs);
        } catch (WbkitException e) {
            assertNull(theirs, e.getMessage());
        } catch (BadPaddingException | IllegalBlockSizeException e) {
            // stricter
        }
    }
}
