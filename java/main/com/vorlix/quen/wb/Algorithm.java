package com.vorlix.quen.wb;

/** The ciphers, with the natives of their stream modes. */
enum Algorithm {
    AES(new Natives(WbkitAndr::WBkit_AES_CFB_encrypt, WbkitAndr::WBkit_AES_CFB_decrypt,
                WbkitAndr::WBkit_AES_CMS_CFB_encrypt),
        new Natives(WbkitAndr::WBkit_AES_OFB_encrypt, WbkitAndr::WBkit_AES_OFB_decrypt,
                WbkitAndr::WBkit_AES_CMS_OFB_encrypt),
        new Natives(WbkitAndr::WBkit_AES_CTR_encrypt, WbkitAndr::WBkit_AES_CTR_decrypt,
                WbkitAndr::WBkit_AES_CMS_CTR_encrypt)),
    SM4(new Natives(WbkitAndr::WBkit_SM4_CFB_encrypt, WbkitAndr::WBkit_SM4_CFB_decrypt,
                WbkitAndr::WBkit_SM4_CMS_CFB_encrypt),
        // Encrypts with its decryption, which is the same in this mode: that native keeps no memory.
        new Natives(WbkitAndr::WBkit_SM4_OFB_decrypt, WbkitAndr::WBkit_SM4_OFB_decrypt,
                WbkitAndr::WBkit_SM4_CMS_OFB_encrypt),
        new Natives(WbkitAndr::WBkit_SM4_CTR_encrypt, WbkitAndr::WBkit_SM4_CTR_decrypt,
                WbkitAndr::WBkit_SM4_CMS_CTR_encrypt));

    private final Natives[] byMode;

    Algorithm(Natives cfb, Natives ofb, Natives ctr) {
        byMode = new Natives[] {cfb, ofb, ctr};
    }

    Natives natives(StreamMode mode) {
        return byMode[mode.ordinal()];
    }

    /** A native that runs a stream mode over a text that is not empty. */
    interface Stream {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding, byte[] wbid, byte[] keyid,
                int version);
    }

    /** A native that does so and packs a message. */
    interface MessageEncryption {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding, byte[] key, byte[] wbid,
                byte[] keyid, int version);
    }

    /** The natives of a mode. */
    static final class Natives {
        final Stream encrypt;
        final Stream decrypt;
        final MessageEncryption encryptMessage;

        Natives(Stream encrypt, Stream decrypt, MessageEncryption encryptMessage) {
            this.encrypt = encrypt;
            this.decrypt = decrypt;
            this.encryptMessage = encryptMessage;
        }
    }
}
