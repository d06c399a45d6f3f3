package com.vorlix.quen.wb;

import com.vorlix.quen.wb.TestTables.Key;
import java.security.GeneralSecurityException;
import javax.crypto.Cipher;
import javax.crypto.spec.IvParameterSpec;

/** A pair of natives and the same mode of {@code javax.crypto}. */
enum StreamMode {
    CFB(WbkitAndr::WBkit_AES_CFB_encrypt, WbkitAndr::WBkit_AES_CFB_decrypt),
    OFB(WbkitAndr::WBkit_AES_OFB_encrypt, WbkitAndr::WBkit_AES_OFB_decrypt),
    CTR(WbkitAndr::WBkit_AES_CTR_encrypt, WbkitAndr::WBkit_AES_CTR_decrypt);

    /** The shape of the six stream natives. */
    interface Native {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding, byte[] wbid, byte[] keyid,
                int version);

        /** As an authorised caller. */
        default byte[] run(Key key, int version, byte[] iv, byte[] input, int padding) {
            return run(TestTables.token(TestTables.WBID), TestTables.CALLER, iv, input, padding, TestTables.WBID,
                    key.id, version);
        }
    }

    static final int NO_PADDING = 0;
    static final int PKCS5 = 1;
    static final int ISO10126 = 2;
    /** The padding modes by number, as {@code javax.crypto} calls them. */
    private static final String[] PADDINGS = {"NoPadding", "PKCS5Padding", "ISO10126Padding"};

    final Native encrypt;
    final Native decrypt;

    StreamMode(Native encrypt, Native decrypt) {
        this.encrypt = encrypt;
        this.decrypt = decrypt;
    }

    byte[] encryptWithClearKey(Key key, byte[] iv, byte[] plain, int padding) {
        return javax(Cipher.ENCRYPT_MODE, name(), NO_PADDING, key, iv, pad(plain, padding));
    }

    byte[] decryptWithClearKey(Key key, byte[] iv, byte[] cipher, int padding) {
        return unpad(javax(Cipher.DECRYPT_MODE, name(), NO_PADDING, key, iv, cipher), padding);
    }

    // javax.crypto pads in CFB but not in CTR: a detour over CFB, there and back, gives its padding to every mode.
    private static byte[] pad(byte[] plain, int padding) {
        byte[] cipher = javax(Cipher.ENCRYPT_MODE, "CFB", padding, Key.AES_128, new byte[16], plain);
        return javax(Cipher.DECRYPT_MODE, "CFB", NO_PADDING, Key.AES_128, new byte[16], cipher);
    }

    private static byte[] unpad(byte[] padded, int padding) {
        byte[] cipher = javax(Cipher.ENCRYPT_MODE, "CFB", NO_PADDING, Key.AES_128, new byte[16], padded);
        return javax(Cipher.DECRYPT_MODE, "CFB", padding, Key.AES_128, new byte[16], cipher);
    }

    private static byte[] javax(int direction, String mode, int padding, Key key, byte[] iv, byte[] input) {
        try {
            Cipher cipher = Cipher.getInstance("AES/" + mode + "/" + PADDINGS[padding]);
            cipher.init(direction, key.clear, new IvParameterSpec(iv));
            return cipher.doFinal(input);
        } catch (GeneralSecurityException e) {
            throw new AssertionError(e);
        }
    }
}
